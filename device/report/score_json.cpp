#include "report/score_json.h"

#include <array>
#include <string_view>

namespace device {
namespace {

constexpr std::array<const char*, 3> DENSITY_NAMES{"detected", "recognised", "identified"};

void set(json_t* object, const char* key, json_t* value) {
  json_object_set_new(object, key, value);
}

void setMotion(json_t* object, const MotionFigures& motion) {
  set(object, "starts_per_s", jsonOf(motion.startsPerSecond));
  set(object, "reversals_per_s", jsonOf(motion.reversalsPerSecond));
  set(object, "acceleration_rms", jsonOf(motion.accelerationRms));
  set(object, "zoom_reversals_per_s", jsonOf(motion.zoomReversalsPerSecond));
}

json_t* densitiesJson(const ScoreFigures& figures) {
  json_t* all = json_object();
  for (std::size_t i = 0; i < DENSITY_NAMES.size(); ++i) {
    const DensityFigures& density = figures.density[i];
    json_t* one = json_object();
    set(one, "pixels_per_m", jsonOf(density.leastDensity));
    set(one, "share", jsonOf(density.share));
    set(one, "person_share", jsonOf(density.personShare));
    set(one, "seconds", jsonOf(density.seconds));
    set(one, "person_seconds", jsonOf(density.personSeconds));
    set(all, DENSITY_NAMES[i], one);
  }
  return all;
}

json_t* acquisitionJson(const AcquisitionFigures& acquisition) {
  json_t* object = json_object();
  set(object, "count", jsonOf(acquisition.count));
  set(object, "never", jsonOf(acquisition.never));
  set(object, "median_s", jsonOf(acquisition.median));
  set(object, "p90_s", jsonOf(acquisition.p90));
  return object;
}

json_t* personJson(const PersonFigures& person) {
  json_t* object = json_object();
  set(object, "id", jsonOf(person.id));
  set(object, "seconds", jsonOf(person.seconds));
  set(object, "in_picture", jsonOf(person.inPicture));
  set(object, "share_20", jsonOf(person.share20));
  set(object, "share_40", jsonOf(person.share40));
  for (std::size_t i = 0; i < DENSITY_NAMES.size(); ++i) {
    set(object, DENSITY_NAMES[i], jsonOf(person.density[i]));
  }
  set(object, "acquisition_s", jsonOf(person.acquisition));
  set(object, "recognised_at_first", jsonOf(person.everRecognised));
  set(object, "followed_seconds", jsonOf(person.followedSeconds));
  set(object, "error_deg", jsonOf(person.error));
  set(object, "late_error_deg", jsonOf(person.lateError));
  return object;
}

}  // namespace

json_t* jsonOf(const std::string& text) {
  json_t* json = json_stringn(text.data(), text.size());
  return json != nullptr ? json : json_string_nocheck("?");
}

json_t* jsonOf(double value) {
  return json_real(value);
}

json_t* jsonOf(int value) {
  return json_integer(value);
}

json_t* jsonOf(bool value) {
  return json_boolean(value);
}

json_t* jsonOf(const Gains& gains) {
  json_t* array = json_array();
  for (const double gain : gains) {
    json_array_append_new(array, jsonOf(gain));
  }
  return array;
}

json_t* jsonOf(const ErrorFigures& error) {
  json_t* object = json_object();
  set(object, "median", jsonOf(error.median));
  set(object, "rms", jsonOf(error.rms));
  set(object, "p95", jsonOf(error.p95));
  return object;
}

json_t* scoreJson(const ScoreFigures& figures) {
  json_t* object = json_object();
  set(object, "seconds", jsonOf(figures.seconds));
  set(object, "seconds_with_somebody", jsonOf(figures.secondsWithSomebody));
  set(object, "person_seconds", jsonOf(figures.personSeconds));
  set(object, "density", densitiesJson(figures));
  set(object, "share_20", jsonOf(figures.share20));
  set(object, "share_40", jsonOf(figures.share40));
  set(object, "in_picture", jsonOf(figures.inPicture));
  set(object, "acquisition", acquisitionJson(figures.acquisition));
  set(object, "error_deg", jsonOf(figures.error));
  set(object, "error_width", jsonOf(figures.errorInWidth));
  set(object, "followed_changes", jsonOf(figures.followedChanges));
  setMotion(object, figures.motion);
  return object;
}

json_t* peopleJson(const ScoreFigures& figures) {
  json_t* people = json_array();
  for (const PersonFigures& person : figures.people) {
    json_array_append_new(people, personJson(person));
  }
  return people;
}

json_t* tuningJson(const TuningFigures& figures) {
  json_t* object = json_object();
  set(object, "count", jsonOf(figures.count));
  set(object, "seconds", jsonOf(figures.seconds));
  set(object, "attempts", jsonOf(figures.attempts));
  set(object, "failed_attempts", jsonOf(figures.failedAttempts));
  set(object, "unsuccessful", jsonOf(figures.unsuccessful));
  set(object, "succeeded", jsonOf(figures.succeeded));
  set(object, "pan_gains", jsonOf(figures.panGains));
  set(object, "tilt_gains", jsonOf(figures.tiltGains));
  set(object, "identified", jsonOf(figures.identified));
  return object;
}

}  // namespace device
