#include "config/persistent.h"

#include <jansson.h>
#include <syslog.h>

#include <initializer_list>
#include <tuple>
#include <utility>

#include "base/json_auto_ptr.h"
#include "config/constants.h"
#include "config/json_file.h"

namespace {

constexpr double DEFAULT_KP = 1.0;
constexpr int DEFAULT_SECONDS = 5;
constexpr double DEFAULT_ZOOM_CORRECTION = 1.0;

std::string s_pathForTest;

std::string path() {
  return s_pathForTest.empty() ? constants::SETTINGS_PATH : s_pathForTest;
}

// Null when the file cannot be read or is no JSON object.
JsonAutoPtr loadSettings() {
  JsonAutoPtr settings(json_load_file(path().c_str(), 0, nullptr));
  return json_is_object(settings.get()) ? settings : JsonAutoPtr();
}

// One key by a jansson pattern, or the default when that fails.
template <typename T>
T readKey(const JsonAutoPtr& settings, const char* pattern, const char* key, T defaultValue) {
  T stored = defaultValue;
  const bool isRead = settings && json_unpack(settings.get(), pattern, key, &stored) == 0;
  return isRead ? stored : defaultValue;
}

bool readBool(const char* key) {
  return readKey(loadSettings(), "{s:b}", key, 0) != 0;
}

// What no int can hold is no value.
int readInt(const char* key, int defaultValue) {
  const json_int_t value = readKey(loadSettings(), "{s:I}", key, json_int_t{defaultValue});
  return std::in_range<int>(value) ? static_cast<int>(value) : defaultValue;
}

struct Member {
  const char* key;
  json_t* value;  // owned until it is set
};

// Sets the keys in order and writes the file; stops at the first key that cannot be set.
void writeKeys(std::initializer_list<Member> members, const char* message) {
  JsonAutoPtr settings = loadSettings();
  if (!settings) {
    settings = JsonAutoPtr(json_object());
  }
  bool good = true;
  for (const Member& member : members) {
    JsonAutoPtr value(member.value);
    good = good && json_object_set(settings.get(), member.key, value.get()) == 0;
  }
  if (!good) {
    syslog(LOG_ERR, "%s", message);
    return;
  }
  if (writeJsonFile(path(), settings.get()) != JsonFileResult_e::written) {
    syslog(LOG_ERR, "Error writing config file\n");
  }
}

struct GainKeys {
  const char* kp;
  const char* ki;
  const char* kd;
};

constexpr GainKeys PAN_KEYS{"pan_kp", "pan_ki", "pan_kd"};
constexpr GainKeys TILT_KEYS{"tilt_kp", "tilt_ki", "tilt_kd"};

// Kp, Ki and Kd.
std::tuple<double, double, double> readGains(const GainKeys& keys) {
  const JsonAutoPtr settings = loadSettings();
  return {readKey(settings, "{s:f}", keys.kp, DEFAULT_KP), readKey(settings, "{s:f}", keys.ki, 0.0),
          readKey(settings, "{s:f}", keys.kd, 0.0)};
}

void writeGains(const GainKeys& keys, double kp, double ki, double kd, const char* message) {
  writeKeys({{keys.kp, json_real(kp)}, {keys.ki, json_real(ki)}, {keys.kd, json_real(kd)}},
            message);
}

}  // namespace

void Persistent::setPathForTest(const std::string& path) {
  s_pathForTest = path;
}

std::string Persistent::pathBeside(const std::string& name) {
  const std::string settings = path();
  return settings.substr(0, settings.rfind('/') + 1) + name;
}

void Persistent::getCameraName(std::string& name) {
  const JsonAutoPtr settings = loadSettings();
  name = readKey(settings, "{s:s}", "camera_name", "");
}

void Persistent::setCameraName(const std::string& name) {
  writeKeys({{"camera_name", json_string(name.c_str())}},
            "Error writing camera_name to config file\n");
}

void Persistent::getCameraPanPid(double& kp, double& ki, double& kd) {
  std::tie(kp, ki, kd) = readGains(PAN_KEYS);
}

void Persistent::setCameraPanPid(double kp, double ki, double kd) {
  writeGains(PAN_KEYS, kp, ki, kd, "Failed to save camera pan PID\n");
}

void Persistent::getCameraTiltPid(double& kp, double& ki, double& kd) {
  std::tie(kp, ki, kd) = readGains(TILT_KEYS);
}

void Persistent::setCameraTiltPid(double kp, double ki, double kd) {
  writeGains(TILT_KEYS, kp, ki, kd, "Failed to save camera tilt PID\n");
}

bool Persistent::getSentrelEnabled() {
  return readBool("sentrel_enabled");
}

void Persistent::setSentrelEnabled(bool enabled) {
  writeKeys({{"sentrel_enabled", json_boolean(enabled)}},
            "Error writing tracking enabled to config file\n");
}

bool Persistent::getSwitchObject() {
  return readBool("switch_object");
}

void Persistent::setSwitchObject(bool enabled) {
  writeKeys({{"switch_object", json_boolean(enabled)}},
            "Error writing guard tour enabled to config file\n");
}

int Persistent::getTimePerObject() {
  return readInt("time_per_object", DEFAULT_SECONDS);
}

void Persistent::setTimePerObject(int seconds) {
  writeKeys({{"time_per_object", json_integer(seconds)}},
            "Error writing guard tour time to config file\n");
}

bool Persistent::getReturnToHomeEnabled() {
  return readBool("return_to_home_enabled");
}

void Persistent::setReturnToHomeEnabled(bool enabled) {
  writeKeys({{"return_to_home_enabled", json_boolean(enabled)}},
            "Error writing return to home enabled to config file\n");
}

int Persistent::getReturnToHomeTimeout() {
  return readInt("return_to_home_timeout", DEFAULT_SECONDS);
}

void Persistent::setReturnToHomeTimeout(int seconds) {
  writeKeys({{"return_to_home_timeout", json_integer(seconds)}},
            "Error writing return to home timeout to config file\n");
}

double Persistent::getZoomCorrection() {
  return readKey(loadSettings(), "{s:f}", "zoom_correction", DEFAULT_ZOOM_CORRECTION);
}

void Persistent::setZoomCorrection(double correction) {
  writeKeys({{"zoom_correction", json_real(correction)}},
            "Failed to save zoom correction to config file\n");
}
