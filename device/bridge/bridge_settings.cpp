#include "bridge/bridge_settings.h"

#include <jansson.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <set>
#include <string_view>

#include "base/json_auto_ptr.h"
#include "base/units.h"

namespace device::bridge {

namespace {

constexpr std::size_t MOST_CAMERAS = 4;
constexpr std::size_t LONGEST_FILE = std::size_t{1} << 20;  // bytes
constexpr double MOST_METRES = 200;
constexpr double LEAST_MAST = 0.5;
constexpr double MOST_DISTORTION = 1000;

// One object of the file. Every key that is read is noted; what is left over is a fault.
class Part {
 public:
  Part(json_t* json, std::string file, std::string place)
      : json(json), file(std::move(file)), place(std::move(place)) {
    if (!json_is_object(json)) {
      throw fault("", "has to be an object");
    }
  }

  bool has(const char* key) const { return json_object_get(json, key) != nullptr; }

  std::string text(const char* key, const std::string& otherwise = "") {
    json_t* value = take(key);
    if (value == nullptr) {
      return otherwise;
    }
    if (!json_is_string(value)) {
      throw fault(key, "has to be a text");
    }
    return json_string_value(value);
  }

  std::string requiredText(const char* key) {
    require(key);
    return text(key);
  }

  bool flag(const char* key, bool otherwise) {
    json_t* value = take(key);
    if (value != nullptr && !json_is_boolean(value)) {
      throw fault(key, "has to be true or false");
    }
    return value != nullptr ? json_is_true(value) : otherwise;
  }

  double number(const char* key, const Range& range, double otherwise) {
    json_t* value = take(key);
    return value != nullptr ? checked(value, key, range) : otherwise;
  }

  double requiredNumber(const char* key, const Range& range) {
    require(key);
    return number(key, range, 0);
  }

  // [LOW, HIGH], both within a range.
  std::optional<Range> range(const char* key, const Range& both) {
    json_t* value = take(key);
    if (value == nullptr) {
      return std::nullopt;
    }
    if (json_array_size(value) != 2) {
      throw fault(key, "has to be two numbers");
    }
    const Range result{checked(json_array_get(value, 0), key, both),
                       checked(json_array_get(value, 1), key, both)};
    return result;
  }

  std::vector<json_t*> list(const char* key) {
    json_t* value = take(key);
    if (value != nullptr && !json_is_array(value)) {
      throw fault(key, "has to be a list");
    }
    std::vector<json_t*> items;
    for (std::size_t i = 0; i < json_array_size(value); ++i) {
      items.push_back(json_array_get(value, i));
    }
    return items;
  }

  Part part(const char* key) {
    require(key);
    return {take(key), file, nameOf(key)};
  }
  Part item(json_t* value, const char* key, std::size_t index) const {
    return {value, file, nameOf(key) + "[" + std::to_string(index) + "]"};
  }

  json_t* take(const char* key) {
    taken.insert(key);
    return json_object_get(json, key);
  }

  double checked(json_t* value, const char* key, const Range& range) const {
    const double number = json_number_value(value);
    if (!json_is_number(value) || !std::isfinite(number) || number < range.low ||
        number > range.high) {
      throw fault(
          key, "has to be a number from " + shortText(range.low) + " to " + shortText(range.high));
    }
    return number;
  }

  // Nothing else stands there.
  void finish() const {
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(json, key, value) {
      if (!taken.contains(key)) {
        throw fault(key, "is not known");
      }
    }
  }

  SettingsError fault(const std::string& key, const std::string& words) const {
    return SettingsError(file + ": " + (key.empty() ? place : nameOf(key)) + " " + words);
  }

 private:
  void require(const char* key) const {
    if (!has(key)) {
      throw fault(key, "is missing");
    }
  }
  std::string nameOf(const std::string& key) const {
    return place.empty() ? key : place + "." + key;
  }
  static std::string shortText(double value) { return onvif::textOf(value); }

  json_t* json;
  std::string file;
  std::string place;
  std::set<std::string> taken;
};

constexpr Range TURN{-360, 360};
constexpr Range PICTURE{0.1, 179};

CameraAddress readAddress(Part& part) {
  const std::string device = part.requiredText("address");
  if (device.find('@') != std::string::npos) {
    throw part.fault("address", "has no user and no password: they stand among the credentials");
  }
  return {device, part.text("login"), part.text("profile")};
}

ZoomUnit readZoomUnit(Part& part) {
  const std::string name = part.text("zoom_unit");
  if (name.empty()) {
    return ZoomUnit::guessed;
  }
  if (name != "generic" && name != "millimetres") {
    throw part.fault("zoom_unit", "is generic or millimetres");
  }
  return name == "generic" ? ZoomUnit::generic : ZoomUnit::millimetres;
}

HeadTold readTold(Part& part) {
  HeadTold told;
  told.pan = part.range("pan_range", TURN);
  told.tilt = part.range("tilt_range", TURN);
  told.panEnds = part.range("pan_ends", TURN);
  told.tiltEnds = part.range("tilt_ends", TURN);
  told.invertPan = part.flag("invert_pan", false);
  told.invertTilt = part.flag("invert_tilt", false);
  told.invertPanSpeed = part.flag("invert_pan_speed", false);
  told.invertTiltSpeed = part.flag("invert_tilt_speed", false);
  const auto angles = part.range("field_angles", PICTURE);
  if (!angles || angles->low > angles->high) {
    throw part.fault("field_angles", "has to be the angles fully in and fully out, in degrees");
  }
  told.fieldAngles = *angles;
  if (const auto home = part.range("home", TURN)) {
    told.home = {home->low, home->high};
  }
  told.sensorWidth = part.number("sensor_width", {0, 100}, 0);
  for (const auto& ends : {told.pan, told.tilt}) {
    if (ends && !ends->isReal()) {
      throw part.fault("pan_range", "and tilt_range have to grow");
    }
  }
  for (const auto& ends : {told.panEnds, told.tiltEnds}) {
    if (ends && !ends->isReal()) {
      throw part.fault("pan_ends", "and tilt_ends have to grow");
    }
  }
  told.zoomUnit = readZoomUnit(part);
  for (json_t* point : part.list("zoom_table")) {
    const ZoomPoint next{part.checked(json_array_get(point, 0), "zoom_table", {-1e6, 1e6}),
                         part.checked(json_array_get(point, 1), "zoom_table", PICTURE)};
    const bool isFirst = told.zoomTable.empty();
    if (!isFirst && (next.position <= told.zoomTable.back().position ||
                     next.fieldAngle >= told.zoomTable.back().fieldAngle)) {
      throw part.fault("zoom_table", "has to have growing positions and falling angles");
    }
    told.zoomTable.push_back(next);
  }
  return told;
}

HeadSettings readHead(Part part) {
  HeadSettings head;
  head.address = readAddress(part);
  head.told = readTold(part);
  head.believesMoves = part.flag("move_status", true);
  head.heedsTimeout = part.flag("timeout", true);
  head.usesMetadata = part.flag("metadata", true);
  head.product = part.text("product");
  if (part.has("status_age")) {
    head.statusAge = part.number("status_age", {0, 5}, 0);
  }
  part.finish();
  return head;
}

onvif::PixelSize readPixels(Part& part, const char* key, const onvif::PixelSize& otherwise) {
  const auto size = part.range(key, {1, 100000});
  return size ? onvif::PixelSize{static_cast<int>(size->low), static_cast<int>(size->high)}
              : otherwise;
}

OverviewSettings readCamera(Part part) {
  OverviewSettings camera;
  camera.address = readAddress(part);
  camera.name = part.text("name", "Overview");
  camera.horizontalFov = part.requiredNumber("horizontal_fov", PICTURE);
  camera.verticalFov = part.requiredNumber("vertical_fov", PICTURE);
  camera.pan = part.number("pan", TURN, 0);
  camera.tilt = part.number("tilt", TURN, 0);
  camera.roll = part.number("roll", TURN, 0);
  camera.offsetX = part.number("offset_x", {-MOST_METRES, MOST_METRES}, 0);
  camera.offsetY = part.number("offset_y", {-MOST_METRES, MOST_METRES}, 0);
  camera.distortion = part.number("distortion", {-MOST_DISTORTION, MOST_DISTORTION}, 0);
  camera.wishes.likelihood = part.number("likelihood", {0, 1}, camera.wishes.likelihood);
  if (part.has("classes")) {
    camera.wishes.classes.clear();
    for (json_t* name : part.list("classes")) {
      if (!json_is_string(name)) {
        throw part.fault("classes", "have to be texts");
      }
      camera.wishes.classes.insert(json_string_value(name));
    }
  }
  camera.pixels = readPixels(part, "pixels", camera.pixels);
  camera.picture = readPixels(part, "picture", camera.picture);
  camera.leastDelay = units::roundedFromSeconds(part.number("least_delay", {0, 5}, 0));
  part.finish();
  return camera;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream || text.size() > LONGEST_FILE) {
    throw SettingsError("Cannot read " + file.string());
  }
  return text;
}

}  // namespace

BridgeSettings settingsOf(const std::string& json, const std::string& file) {
  json_error_t error;
  const JsonAutoPtr root(json_loadb(json.data(), json.size(), JSON_REJECT_DUPLICATES, &error));
  if (!root) {
    throw SettingsError(file + ", line " + std::to_string(error.line) + ": " + error.text);
  }
  Part part(root.get(), file, "");
  BridgeSettings settings;
  if (part.has("head")) {
    settings.head = readHead(part.part("head"));
  }
  const std::vector<json_t*> cameras = part.list("cameras");
  if (cameras.size() > MOST_CAMERAS) {
    throw part.fault("cameras", "has to be a list of at most 4 cameras");
  }
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    settings.cameras.push_back(readCamera(part.item(cameras[i], "cameras", i)));
  }
  settings.mastHeight = part.number("mast_height", {LEAST_MAST, MOST_METRES}, settings.mastHeight);
  settings.following = part.text("following", settings.following);
  if (settings.following != "predictive" && settings.following != "specified") {
    throw part.fault("following", "is predictive or specified");
  }
  if (part.has("parameters")) {
    Part parameters = part.part("parameters");
    const char* name = nullptr;
    json_t* value = nullptr;
    json_object_foreach(part.take("parameters"), name, value) {
      settings.parameters[name] = parameters.text(name);
    }
  }
  part.finish();
  return settings;
}

std::string BridgeSettings::whatIsMissing() const {
  return !hasHead() ? "The head is not set up" : cameras.empty() ? "No camera is set up" : "";
}

BridgeSettings readSettings(const std::filesystem::path& file) {
  return settingsOf(contentOf(file), file.string());
}

Credentials readCredentials(const std::filesystem::path& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) {
    throw SettingsError("Cannot read " + file.string());
  }
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    throw SettingsError(file.string() +
                        " is open to others: passwords have to be in a file of mode 0600");
  }
  const std::string text = contentOf(file);
  const JsonAutoPtr root(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, nullptr));
  if (!json_is_object(root.get())) {
    throw SettingsError(file.string() + " is no list of users");
  }
  Credentials credentials;
  const char* name = nullptr;
  json_t* value = nullptr;
  json_object_foreach(root.get(), name, value) {
    const char* user = json_string_value(json_object_get(value, "user"));
    const char* password = json_string_value(json_object_get(value, "password"));
    if (user == nullptr || password == nullptr) {
      throw SettingsError(file.string() + ": an entry has no user or no password");
    }
    credentials[name] = {user, password};
  }
  return credentials;
}

onvif::Login loginOf(const Credentials& credentials, const std::string& name) {
  if (name.empty()) {
    return {};
  }
  const auto found = credentials.find(name);
  if (found == credentials.end()) {
    throw SettingsError("There is no login " + name + " among the credentials");
  }
  return found->second;
}

}  // namespace device::bridge
