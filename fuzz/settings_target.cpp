// The settings file: what is read from any bytes, and what a setter leaves of them.
#include <jansson.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "base/json_auto_ptr.h"
#include "config/persistent.h"
#include "fakes/log_capture.h"
#include "fuzz/fake_storage.h"
#include "fuzz/input.h"
#include "fuzz/require.h"

namespace {

using fuzz::require;

constexpr const char* FILE_NAME = "settings.json";
constexpr int MOST_CHANGES = 4;

struct Gains {
  double kp = 0;
  double ki = 0;
  double kd = 0;

  bool operator==(const Gains&) const = default;
};

struct Settings {
  std::string cameraName;
  Gains pan;
  Gains tilt;
  bool sentrelEnabled = false;
  bool switchObject = false;
  int timePerObject = 0;
  bool returnToHomeEnabled = false;
  int returnToHomeTimeout = 0;
  double zoomCorrection = 0;

  bool operator==(const Settings&) const = default;
};

// ---- What the file says, by its own rules ----

using Json = const json_t*;

// The object in the text, or null.
JsonAutoPtr decode(const std::string& text) {
  JsonAutoPtr value(json_loadb(text.data(), text.size(), 0, nullptr));
  return json_is_object(value.get()) ? value : JsonAutoPtr();
}

bool boolOf(Json file, const char* key) {
  return json_is_true(json_object_get(file, key));
}

// Seconds that no int can hold are none.
int secondsOf(Json file, const char* key) {
  const json_t* const value = json_object_get(file, key);
  const json_int_t number = json_integer_value(value);
  return json_is_integer(value) && number >= INT32_MIN && number <= INT32_MAX
             ? static_cast<int>(number)
             : 5;
}

// A whole number is no real.
double realOf(Json file, const char* key, double otherwise) {
  const json_t* const value = json_object_get(file, key);
  return json_is_real(value) ? json_real_value(value) : otherwise;
}

Gains gainsOf(Json file, const std::string& axis) {
  return {realOf(file, (axis + "_kp").c_str(), 1.0), realOf(file, (axis + "_ki").c_str(), 0.0),
          realOf(file, (axis + "_kd").c_str(), 0.0)};
}

Settings settingsOf(Json file) {
  const char* const name = json_string_value(json_object_get(file, "camera_name"));
  return {.cameraName = name != nullptr ? name : "",
          .pan = gainsOf(file, "pan"),
          .tilt = gainsOf(file, "tilt"),
          .sentrelEnabled = boolOf(file, "sentrel_enabled"),
          .switchObject = boolOf(file, "switch_object"),
          .timePerObject = secondsOf(file, "time_per_object"),
          .returnToHomeEnabled = boolOf(file, "return_to_home_enabled"),
          .returnToHomeTimeout = secondsOf(file, "return_to_home_timeout"),
          .zoomCorrection = realOf(file, "zoom_correction", 1.0)};
}

// ---- The program's view ----

Settings readAll() {
  Settings all;
  all.cameraName = "not read";
  Persistent::getCameraName(all.cameraName);
  Persistent::getCameraPanPid(all.pan.kp, all.pan.ki, all.pan.kd);
  Persistent::getCameraTiltPid(all.tilt.kp, all.tilt.ki, all.tilt.kd);
  all.sentrelEnabled = Persistent::getSentrelEnabled();
  all.switchObject = Persistent::getSwitchObject();
  all.timePerObject = Persistent::getTimePerObject();
  all.returnToHomeEnabled = Persistent::getReturnToHomeEnabled();
  all.returnToHomeTimeout = Persistent::getReturnToHomeTimeout();
  all.zoomCorrection = Persistent::getZoomCorrection();
  return all;
}

// ---- Changes ----

// A number as it is stored.
double rounded(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4g", value);
  return std::strtod(text, nullptr);
}

bool canBeStored(double value) {
  return std::isfinite(value) && std::isfinite(rounded(value));
}

// Everything else in the file, with its numbers as they are stored.
void roundReals(json_t* value) {
  const char* key = nullptr;
  json_t* member = nullptr;
  std::size_t index = 0;
  if (json_is_real(value)) {
    json_real_set(value, rounded(json_real_value(value)));
  }
  json_object_foreach(value, key, member) roundReals(member);
  json_array_foreach(value, index, member) roundReals(member);
}

bool canBeStored(Json value) {
  const char* key = nullptr;
  json_t* member = nullptr;
  std::size_t index = 0;
  if (json_is_real(value)) {
    return canBeStored(json_real_value(value));
  }
  json_object_foreach(const_cast<json_t*>(value), key, member) {
    if (!canBeStored(member)) {
      return false;
    }
  }
  json_array_foreach(value, index, member) {
    if (!canBeStored(member)) {
      return false;
    }
  }
  return true;
}

struct Member {
  std::string key;
  JsonAutoPtr value;  // null when there is no such value in JSON
};

struct Change {
  std::function<void()> apply;
  std::vector<Member> members;
};

double takeReal(fuzz::Input& input) {
  switch (input.between(0, 5)) {
    case 0:
      return INFINITY;
    case 1:
      return NAN;
    case 2:
      return std::ldexp(input.number(), input.between(0, 255) * 8 - 1024);
    default:
      return input.number() / 65536.0;
  }
}

JsonAutoPtr real(double value) {
  return JsonAutoPtr(json_real(value));
}

Change takeGains(fuzz::Input& input, const std::string& axis, void (*set)(double, double, double)) {
  const double kp = takeReal(input);
  const double ki = takeReal(input);
  const double kd = takeReal(input);
  return {[=] { set(kp, ki, kd); },
          {{axis + "_kp", real(kp)}, {axis + "_ki", real(ki)}, {axis + "_kd", real(kd)}}};
}

Change takeSwitch(fuzz::Input& input, const char* key, void (*set)(bool)) {
  const bool on = input.flag();
  return {[=] { set(on); }, {{key, JsonAutoPtr(json_boolean(on))}}};
}

Change takeSeconds(fuzz::Input& input, const char* key, void (*set)(int)) {
  const int seconds = input.number();
  return {[=] { set(seconds); }, {{key, JsonAutoPtr(json_integer(seconds))}}};
}

Change takeChange(fuzz::Input& input) {
  switch (input.between(0, 8)) {
    case 0: {
      std::string name;
      for (int i = input.between(0, 20); i > 0; --i) {
        name += static_cast<char>(input.between(1, 255));
      }
      return {[=] { Persistent::setCameraName(name); },
              {{"camera_name", JsonAutoPtr(json_string(name.c_str()))}}};
    }
    case 1:
      return takeGains(input, "pan", Persistent::setCameraPanPid);
    case 2:
      return takeGains(input, "tilt", Persistent::setCameraTiltPid);
    case 3:
      return takeSwitch(input, "sentrel_enabled", Persistent::setSentrelEnabled);
    case 4:
      return takeSwitch(input, "switch_object", Persistent::setSwitchObject);
    case 5:
      return takeSeconds(input, "time_per_object", Persistent::setTimePerObject);
    case 6:
      return takeSwitch(input, "return_to_home_enabled", Persistent::setReturnToHomeEnabled);
    case 7:
      return takeSeconds(input, "return_to_home_timeout", Persistent::setReturnToHomeTimeout);
    default: {
      const double correction = takeReal(input);
      return {[=] { Persistent::setZoomCorrection(correction); },
              {{"zoom_correction", real(correction)}}};
    }
  }
}

// The object that a setter leaves, or null when it cannot be stored.
JsonAutoPtr expectedAfter(const std::string& before, const Change& change) {
  JsonAutoPtr file = decode(before);
  if (!file) {
    file = JsonAutoPtr(json_object());
  }
  for (const Member& member : change.members) {
    if (json_object_set(file.get(), member.key.c_str(), member.value.get()) != 0) {
      return {};
    }
  }
  if (!canBeStored(file.get())) {
    return {};
  }
  roundReals(file.get());
  return file;
}

void checkChange(FakeStorage& storage, fuzz::Input& input) {
  const std::string before = storage.read(FILE_NAME);
  const Change change = takeChange(input);
  const bool isWorking = input.byte() % 8 != 1;
  FakeStorage::setWorking(isWorking);
  change.apply();
  FakeStorage::setWorking(true);

  const std::string after = storage.read(FILE_NAME);
  const JsonAutoPtr expected = expectedAfter(before, change);
  if (!isWorking || !expected) {
    require(after == before, "what cannot be stored leaves the file as it was", after);
    return;
  }
  const JsonAutoPtr stored = decode(after);
  require(static_cast<bool>(stored), "a setter leaves a file that can be read", after);
  require(json_equal(stored.get(), expected.get()) == 1,
          "a setter changes its own keys and leaves the others", after);
  require(readAll() == settingsOf(expected.get()), "what was set is read", after);
}

FakeStorage& theStorage() {
  static FakeStorage s_storage;
  Persistent::setPathForTest(s_storage.path(FILE_NAME));
  return s_storage;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FakeStorage& storage = theStorage();
  fuzz::Input input(data, size);
  const int changes = input.between(0, MOST_CHANGES);
  // A change takes at most a name of 20 characters, or three numbers.
  constexpr std::size_t LONGEST_CHANGE = 24;
  const std::size_t control = changes * LONGEST_CHANGE;
  const auto contents = input.take(size > control ? size - control : 0);
  const std::string text(contents.begin(), contents.end());
  storage.write(FILE_NAME, text);

  require(readAll() == settingsOf(decode(text).get()), "every key is read by its own type", text);
  require(storage.read(FILE_NAME) == text, "reading changes nothing");
  for (int i = 0; i < changes; ++i) {
    checkChange(storage, input);
  }
  require(storage.fileCount() == 1, "no temporary file is left");
  LogCapture::clear();
  return 0;
}
