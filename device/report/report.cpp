#include "report/report.h"

#include <jansson.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "report/plot.h"

namespace device {
namespace {

constexpr double SAMPLE_INTERVAL = 0.05;  // seconds
constexpr double INSIDE_LONG_ENOUGH = 3;  // seconds
constexpr double TIME_ROUNDING = 1e-9;    // seconds, of sums of steps

struct JsonDeleter {
  void operator()(json_t* json) const { json_decref(json); }
};
struct FreeDeleter {
  void operator()(char* text) const { std::free(text); }
};

json_t* toJsonValue(const std::string& text) {
  return json_string(text.c_str());
}
json_t* toJsonValue(double value) {
  return json_real(value);
}
json_t* toJsonValue(std::int64_t value) {
  return json_integer(value);
}
json_t* toJsonValue(int value) {
  return json_integer(value);
}

template <typename Value>
json_t* toJsonValue(const std::optional<Value>& value) {
  return value ? toJsonValue(*value) : json_null();
}

const PersonView* nearestInside(std::span<const PersonView> people, const Direction& axis) {
  const PersonView* nearest = nullptr;
  double least = 0;
  for (const PersonView& person : people) {
    if (!person.inside) {
      continue;
    }
    const double distance = angleBetween(axis, person.centre);
    if (!nearest || distance < least) {
      nearest = &person;
      least = distance;
    }
  }
  return nearest;
}

}  // namespace

bool isInPicture(const HeadStatus& head, const Direction& direction) {
  const Direction relative{normalizedPan(direction.pan - head.pan), direction.tilt};
  const SpacePoint ray = unitVector(relative);
  const double tilt = toRadians(head.tilt);
  const double depth = ray.y * std::cos(tilt) + ray.z * std::sin(tilt);
  const double up = ray.z * std::cos(tilt) - ray.y * std::sin(tilt);
  return depth > 0 && std::abs(ray.x) <= depth * std::tan(toRadians(head.pictureWidth / 2)) &&
         std::abs(up) <= depth * std::tan(toRadians(head.pictureHeight / 2));
}

Report::Report(RunInfo info) : info(std::move(info)) {}

void Report::alarmStarted(double time) {
  session.alarms.push_back({time, std::nullopt});
}

void Report::alarmEnded(double time) {
  const auto open = std::find_if(session.alarms.begin(), session.alarms.end(),
                                 [](const Interval& alarm) { return !alarm.end; });
  if (open != session.alarms.end()) {
    open->end = time;
  }
}

void Report::trackerState(double time, std::string_view state) {
  if (session.states.empty() || session.states.back().name != state) {
    session.states.push_back({time, std::string(state)});
  }
}

void Report::sentreling(double time, bool active) {
  std::vector<Interval>& steering = session.steering;
  const bool isActive = !steering.empty() && !steering.back().end;
  if (active == isActive) {
    return;
  }
  if (active) {
    steering.push_back({time, std::nullopt});
  } else {
    steering.back().end = time;
  }
}

void Report::sample(double time, std::span<const PersonView> people, const HeadStatus& head) {
  std::vector<Moment>& moments = session.moments;
  if (!moments.empty() && time < moments.back().time + SAMPLE_INTERVAL - TIME_ROUNDING) {
    return;
  }
  const bool longEnough = noteInside(time, people);
  Moment moment{.time = time,
                .axis = {head.pan, head.tilt},
                .zoom = head.magnification,
                .pictureHeight = head.pictureHeight,
                .target = {},
                .counted = longEnough && isRunning()};
  if (const PersonView* target = nearestInside(people, moment.axis)) {
    moment.target = Target{target->id, target->centre, target->height};
    moment.targetInView = isInPicture(head, target->centre);
  }
  moment.anyInView = std::any_of(people.begin(), people.end(), [&](const PersonView& person) {
    return person.inside && isInPicture(head, person.centre);
  });
  moment.lastTargetInside =
      !moments.empty() && moments.back().target && insideSince.contains(moments.back().target->id);
  moments.push_back(moment);
}

std::string Report::toJson() const {
  const Figures all = figures();
  const std::unique_ptr<json_t, JsonDeleter> json(json_object());
  const auto add = [&](const char* key, const auto& value) {
    json_object_set_new(json.get(), key, toJsonValue(value));
  };
  add("model", info.model);
  add("tracks", info.tracks);
  add("transport", info.transport);
  add("seed", static_cast<std::int64_t>(info.seed));
  add("duration_s", all.duration);
  add("state_running_after_s", all.stateRunningAfter);
  add("frames", frames);
  add("alarms_started", all.alarmsStarted);
  add("alarms_ended", all.alarmsEnded);
  add("followed_s", all.followed);
  add("in_view_share", all.inViewShare);
  add("rms_error_deg", all.rmsError);
  add("p95_error_deg", all.p95Error);
  add("target_switches", all.targetSwitches);
  add("reversals_per_s", all.reversalsPerSecond);
  add("mean_height_share", all.meanHeightShare);
  const std::unique_ptr<char, FreeDeleter> text(
      json_dumps(json.get(), JSON_INDENT(2) | JSON_PRESERVE_ORDER | JSON_REAL_PRECISION(6)));
  return std::string(text.get()) + "\n";
}

std::string Report::write(const std::filesystem::path& folder) const {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  const std::filesystem::path file = folder / "report.json";
  std::ofstream out(file);
  out << toJson();
  out.close();
  if (!out) {
    throw std::runtime_error(file.string() + " cannot be written");
  }
  const std::string title = info.model + ", " + info.tracks + ", " + info.transport + ", seed " +
                            std::to_string(info.seed);
  return drawPlots(session, title, folder);
}

// Keeps since when each person is inside; true when somebody has been there for long enough.
bool Report::noteInside(double time, std::span<const PersonView> people) {
  std::map<int, double> inside;
  bool longEnough = false;
  for (const PersonView& person : people) {
    if (!person.inside) {
      continue;
    }
    const auto known = insideSince.find(person.id);
    const double since = known == insideSince.end() ? time : known->second;
    inside[person.id] = since;
    longEnough = longEnough || time - since >= INSIDE_LONG_ENOUGH - TIME_ROUNDING;
  }
  insideSince = std::move(inside);
  return longEnough;
}

bool Report::isRunning() const {
  return !session.states.empty() && session.states.back().name == "running";
}

}  // namespace device
