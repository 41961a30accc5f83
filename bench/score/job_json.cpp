#include "score/job_json.h"

#include <jansson.h>

#include "base/json_auto_ptr.h"
#include "base/json_text.h"

namespace score {

namespace {

json_t* number(std::optional<double> value) {
  return value ? json_real(*value) : json_null();
}

void set(json_t* object, const char* key, std::optional<double> value) {
  json_object_set_new(object, key, number(value));
}

// Errors of one person are told without the time that it takes to turn there.
std::optional<device::ErrorFigures> errorOf(const device::ScoreFigures& figures, bool isOne) {
  if (!isOne) {
    return figures.error;
  }
  return figures.people.empty() ? std::nullopt : figures.people.front().lateError;
}

device::MotionFigures motionOf(const device::ScoreFigures& figures, bool isOne) {
  if (!isOne || figures.people.empty()) {
    return figures.motion;
  }
  return figures.people.front().motion.value_or(figures.motion);
}

// One person is acquired when it first comes.
device::AcquisitionFigures acquisitionOf(const device::ScoreFigures& figures, bool isOne) {
  if (!isOne || figures.people.empty()) {
    return figures.acquisition;
  }
  const device::PersonFigures& person = figures.people.front();
  return {.count = 1,
          .never = person.everRecognised ? 0 : 1,
          .median = person.acquisition,
          .p90 = person.acquisition};
}

// Everybody by themselves: the error is while they were followed, the shares are of their time.
json_t* eachJson(const device::ScoreFigures& figures) {
  json_t* errors = json_array();
  json_t* inPicture = json_array();
  json_t* recognised = json_array();
  for (const device::PersonFigures& person : figures.people) {
    const auto& error = person.lateError;
    json_array_append_new(errors, number(error ? std::optional(error->rms) : std::nullopt));
    json_array_append_new(inPicture, json_real(person.inPicture));
    json_array_append_new(recognised, json_real(person.density[1]));
  }
  return json_pack("{s:o, s:o, s:o}", "rms_deg", errors, "in_picture", inPicture, "recognised",
                   recognised);
}

json_t* headJson(const device::ScoreFigures& figures, bool isOne) {
  json_t* head = json_object();
  json_object_set_new(head, "people", json_integer(static_cast<json_int_t>(figures.people.size())));
  set(head, "seconds", figures.secondsWithSomebody);
  const auto error = errorOf(figures, isOne);
  set(head, "median_deg", error ? std::optional(error->median) : std::nullopt);
  set(head, "rms_deg", error ? std::optional(error->rms) : std::nullopt);
  set(head, "p95_deg", error ? std::optional(error->p95) : std::nullopt);
  const device::AcquisitionFigures acquisition = acquisitionOf(figures, isOne);
  set(head, "acquisition_s", acquisition.median);
  json_object_set_new(head, "never_acquired", json_integer(acquisition.never));
  set(head, "in_picture", figures.inPicture);
  set(head, "share_20", figures.share20);
  set(head, "share_40", figures.share40);
  set(head, "detected", figures.density[0].share);
  set(head, "recognised", figures.density[1].share);
  set(head, "identified", figures.density[2].share);
  const device::MotionFigures motion = motionOf(figures, isOne);
  set(head, "starts_per_s", motion.startsPerSecond);
  set(head, "reversals_per_s", motion.reversalsPerSecond);
  set(head, "acceleration_rms", motion.accelerationRms);
  json_object_set_new(head, "each", eachJson(figures));
  return head;
}

json_t* runJson(const Scored& run) {
  const bool isOne = run.person.has_value();
  json_t* json = json_object();
  json_object_set_new(json, "person", isOne ? json_integer(*run.person) : json_null());
  json_object_set_new(json, "followed", headJson(run.followed, isOne));
  json_object_set_new(json, "home", headJson(run.home, isOne));
  json_object_set_new(json, "fixed", headJson(run.fixed, isOne));
  json_object_set_new(json, "bound", headJson(run.bound, isOne));
  return json;
}

}  // namespace

std::string toJson(const JobResult& result) {
  const JsonAutoPtr json(json_pack("{s:{s:f, s:i, s:b}, s:[]}", "tuning", "seconds",
                                   result.tuning.seconds, "attempts", result.tuning.attempts,
                                   "tuned", static_cast<int>(result.tuning.isHeadKnown()), "runs"));
  json_t* runs = json_object_get(json.get(), "runs");
  for (const Scored& run : result.runs) {
    json_array_append_new(runs, runJson(run));
  }
  return toText(json.get(), JSON_COMPACT);
}

}  // namespace score
