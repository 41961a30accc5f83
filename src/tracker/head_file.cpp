#include "tracker/head_file.h"

#include <jansson.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <vector>

#include "base/json_auto_ptr.h"
#include "config/constants.h"
#include "config/json_file.h"
#include "config/persistent.h"

namespace {

constexpr json_int_t VERSION = 1;
constexpr int FULL = following::SpeedCurve::FULL;

std::string path() {
  return Persistent::pathBeside(constants::HEAD_FILE);
}

json_t* toJson(const following::AxisModel& axis) {
  json_t* speeds = json_array();
  for (const following::SpeedLevel& level : axis.curve.levels()) {
    json_array_append_new(speeds, json_pack("[i, f]", level.percent, level.speed));
  }
  return json_pack("{s:f, s:f, s:i, s:o}", "dead_time_s", axis.deadTime, "acceleration",
                   axis.acceleration, "step", axis.curve.step(), "speeds", speeds);
}

bool isPercent(json_int_t value) {
  return value >= 1 && value <= FULL;
}

// Rising levels only: that is how they are stored.
std::optional<std::vector<following::SpeedLevel>> readSpeeds(const json_t* speeds) {
  std::vector<following::SpeedLevel> levels;
  std::size_t index = 0;
  const json_t* pair = nullptr;
  json_array_foreach(speeds, index, pair) {
    json_int_t percent = 0;
    double speed = 0.0;
    if (json_unpack(const_cast<json_t*>(pair), "[I, F!]", &percent, &speed) != 0 ||
        !isPercent(percent) || !(speed > 0.0) ||
        (!levels.empty() && levels.back().percent >= percent)) {
      return std::nullopt;
    }
    levels.push_back({static_cast<int>(percent), speed});
  }
  return levels;
}

std::optional<following::AxisModel> readAxis(const json_t* head, const char* name) {
  json_t* speeds = nullptr;  // borrowed
  json_int_t step = 0;
  following::AxisModel axis;
  if (json_unpack(json_object_get(head, name), "{s:F, s:F, s:I, s:o}", "dead_time_s",
                  &axis.deadTime, "acceleration", &axis.acceleration, "step", &step, "speeds",
                  &speeds) != 0 ||
      !isPercent(step)) {
    return std::nullopt;
  }
  const auto levels = readSpeeds(speeds);
  if (!levels) {
    return std::nullopt;
  }
  axis.curve = following::SpeedCurve(*levels, static_cast<int>(step));
  return axis.isPlausible() ? std::optional(axis) : std::nullopt;
}

}  // namespace

std::optional<following::HeadParameters> HeadFile::load(const std::string& productNumber) {
  if (access(path().c_str(), F_OK) != 0) {
    return std::nullopt;
  }
  const JsonAutoPtr head(json_load_file(path().c_str(), 0, nullptr));
  json_int_t version = 0;
  const char* product = nullptr;  // borrowed
  if (json_unpack(head.get(), "{s:I, s:s}", "version", &version, "product", &product) != 0 ||
      version != VERSION) {
    syslog(LOG_WARNING, "What is known of the head cannot be read, it is identified anew.\n");
    return std::nullopt;
  }
  if (product != productNumber) {
    syslog(LOG_INFO, "The head is another one than before, it is identified anew.\n");
    return std::nullopt;
  }
  const auto pan = readAxis(head.get(), "pan");
  const auto tilt = readAxis(head.get(), "tilt");
  if (!pan || !tilt) {
    syslog(LOG_WARNING, "What is known of the head cannot be, it is identified anew.\n");
    return std::nullopt;
  }
  return following::HeadParameters{*pan, *tilt, std::nullopt};
}

void HeadFile::remove() {
  if (unlink(path().c_str()) != 0 && errno != ENOENT) {
    syslog(LOG_ERR, "What was identified of the head could not be removed: %m\n");
  }
}

void HeadFile::store(const std::string& productNumber, const following::HeadParameters& head) {
  const JsonAutoPtr document(json_pack("{s:I, s:s, s:o, s:o}", "version", VERSION, "product",
                                       productNumber.c_str(), "pan", toJson(head.pan), "tilt",
                                       toJson(head.tilt)));
  if (!document || writeJsonFile(path(), document.get()) != JsonFileResult_e::written) {
    syslog(LOG_ERR, "What was identified of the head could not be kept.\n");
  }
}
