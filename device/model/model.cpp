#include "model/model.h"

#include <jansson.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <numeric>
#include <string_view>
#include <utility>

namespace device {
namespace {

struct JsonDeleter {
  void operator()(json_t* json) const { json_decref(json); }
};
using Json = std::unique_ptr<json_t, JsonDeleter>;

constexpr int MOST_BASES = 8;  // bases of bases; more are a circle
constexpr int MOST_CHANNELS = 16;

// One object of a model file, with its place in the file for error messages.
class Section {
 public:
  Section(const json_t* json, std::string file, std::string path)
      : json(json), file(std::move(file)), path(std::move(path)) {
    if (!json_is_object(json)) {
      fail("", "must be an object");
    }
  }

  [[noreturn]] void fail(const std::string& key, const std::string& reason) const {
    std::string where = path;
    if (!key.empty()) {
      where += where.empty() ? key : "." + key;
    }
    throw ModelError(file + ": " + (where.empty() ? "" : where + ": ") + reason);
  }

  bool has(const char* key) const { return json_object_get(json, key) != nullptr; }

  double number(const char* key, double low, double high) const {
    const json_t* value = need(key);
    const double result = json_number_value(value);
    if (!json_is_number(value) || !(result >= low && result <= high)) {
      fail(key, "must be a number from " + shortText(low) + " to " + shortText(high));
    }
    return result;
  }

  int whole(const char* key, int low, int high) const {
    const json_t* value = need(key);
    const json_int_t result = json_integer_value(value);
    if (!json_is_integer(value) || result < low || result > high) {
      fail(key,
           "must be a whole number from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return static_cast<int>(result);
  }

  bool flag(const char* key) const {
    const json_t* value = need(key);
    if (!json_is_boolean(value)) {
      fail(key, "must be true or false");
    }
    return json_is_true(value);
  }

  std::string text(const char* key) const {
    const json_t* value = need(key);
    if (!json_is_string(value)) {
      fail(key, "must be a text");
    }
    return json_string_value(value);
  }

  Section section(const char* key) const { return Section(need(key), file, join(key)); }

  std::vector<Section> sections(const char* key) const {
    const json_t* list = need(key);
    if (!json_is_array(list)) {
      fail(key, "must be an array");
    }
    std::vector<Section> result;
    for (std::size_t i = 0; i < json_array_size(list); ++i) {
      result.emplace_back(json_array_get(list, i), file, join(key) + "[" + std::to_string(i) + "]");
    }
    return result;
  }

  // All members, each a text.
  std::map<std::string, std::string> texts() const {
    std::map<std::string, std::string> result;
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(const_cast<json_t*>(json), key, value) {
      result[key] = text(key);
    }
    return result;
  }

  // Refuses members that nobody reads: they are mistakes.
  void allowOnly(std::initializer_list<std::string_view> keys) const {
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(const_cast<json_t*>(json), key, value) {
      if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
        fail(key, "is unknown");
      }
    }
  }

 private:
  const json_t* need(const char* key) const {
    const json_t* value = json_object_get(json, key);
    if (!value) {
      fail(key, "is missing");
    }
    return value;
  }

  std::string join(const std::string& key) const { return path.empty() ? key : path + "." + key; }

  static std::string shortText(double value) {
    std::array<char, 32> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%g", value);
    return buffer.data();
  }

  const json_t* json;
  std::string file;
  std::string path;
};

std::string decimals(double value, int count) {
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%.*f", count, value);
  return buffer.data();
}

Json readFile(const std::filesystem::path& file) {
  json_error_t error;
  Json json(json_load_file(file.c_str(), JSON_REJECT_DUPLICATES, &error));
  if (!json) {
    const std::string line = error.line < 0 ? "" : "line " + std::to_string(error.line) + ": ";
    throw ModelError(file.string() + ": " + line + error.text);
  }
  if (!json_is_object(json.get())) {
    throw ModelError(file.string() + ": must be an object");
  }
  return json;
}

// The file laid over its bases.
Json readWithBases(const std::filesystem::path& file, int depth = 0) {
  Json own = readFile(file);
  const json_t* base = json_object_get(own.get(), "base");
  if (!base) {
    return own;
  }
  if (!json_is_string(base)) {
    throw ModelError(file.string() + ": base: must be a text");
  }
  if (depth == MOST_BASES) {
    throw ModelError(file.string() + ": base: too many bases, or bases in a circle");
  }
  const std::string name = json_string_value(base);
  Json whole = readWithBases(file.parent_path() / (name + ".json"), depth + 1);
  if (json_object_update_recursive(whole.get(), own.get()) != 0) {
    throw ModelError(file.string() + ": base: cannot be combined with '" + name + "'");
  }
  return whole;
}

AxisSetup readAxis(const Section& section) {
  section.allowOnly({"speed", "acceleration", "low", "high", "endless"});
  AxisSetup axis{.speed = section.number("speed", 1, 2000),
                 .acceleration = section.number("acceleration", 1, 100000),
                 .low = -180,
                 .high = 180,
                 .endless = section.has("endless") && section.flag("endless")};
  if (!axis.endless) {
    axis.low = section.number("low", -180, 180);
    axis.high = section.number("high", axis.low, 180);
  }
  return axis;
}

double readAspectRatio(const Section& section) {
  const std::string text = section.text("aspect");
  int width = 0;
  int height = 0;
  char rest = 0;
  const int read = std::sscanf(text.c_str(), "%d:%d%c", &width, &height, &rest);
  if (read != 2 || width < 1 || height < 1) {
    section.fail("aspect", "must be WIDTH:HEIGHT");
  }
  return static_cast<double>(width) / height;
}

HeadPosition readHome(const Section& section, const HeadSetup& head) {
  section.allowOnly({"pan", "tilt", "zoom"});
  return {.pan = section.number("pan", head.pan.low, head.pan.high),
          .tilt = section.number("tilt", head.tilt.low, head.tilt.high),
          .zoom = section.whole("zoom", head.minZoom, head.maxZoom)};
}

HeadSetup readHead(const Section& section) {
  section.allowOnly({"product", "pan", "tilt", "latency_s", "speed_hold_s", "boot_s", "zoom",
                     "field", "aspect", "resolution", "home", "parameters"});
  HeadSetup head;
  head.pan = readAxis(section.section("pan"));
  head.tilt = readAxis(section.section("tilt"));
  head.latency = section.number("latency_s", 0, 1);
  head.speedHold = section.number("speed_hold_s", 0.2, 3600);
  const Section zoom = section.section("zoom");
  zoom.allowOnly({"speed", "min", "max"});
  head.zoomSpeed = zoom.number("speed", 1, 1e6);
  head.minZoom = zoom.whole("min", 0, 1000000);
  head.maxZoom = zoom.whole("max", head.minZoom + 1, 1000000);
  const Section field = section.section("field");
  field.allowOnly({"min", "max"});
  head.minFieldAngle = field.number("min", 0.1, 170);
  head.maxFieldAngle = field.number("max", head.minFieldAngle, 170);
  head.aspectRatio = readAspectRatio(section);
  head.home = readHome(section.section("home"), head);
  return head;
}

std::map<std::string, std::string> readHeadParameters(const Section& section,
                                                      const HeadSetup& head) {
  std::map<std::string, std::string> parameters{
      {"Brand.ProdNbr", section.text("product")},
      {"PTZ.Limit.L1.MinFieldAngle", decimals(head.minFieldAngle * 10, 0)},
      {"PTZ.Limit.L1.MaxFieldAngle", decimals(head.maxFieldAngle * 10, 0)},
      {"PTZ.Limit.L1.MinZoom", std::to_string(head.minZoom)},
      {"PTZ.Limit.L1.MaxZoom", std::to_string(head.maxZoom)},
      {"ImageSource.I0.Sensor.AspectRatio", section.text("aspect")},
      {"Image.I0.Appearance.Resolution", section.text("resolution")},
      {"ImageSource.I0.Video.DetectedType", ""},
  };
  if (section.has("parameters")) {
    for (auto& [name, value] : section.section("parameters").texts()) {
      parameters[name] = value;
    }
  }
  return parameters;
}

ChannelSetup readChannel(const Section& section, double mastHeight) {
  section.allowOnly(
      {"name", "pan", "tilt", "width", "height", "horizontal_fov", "rotation", "moves_with_head"});
  ChannelSetup channel;
  channel.name = section.text("name");
  channel.movesWithHead = section.has("moves_with_head") && section.flag("moves_with_head");
  OverviewCameraSetup& camera = channel.camera;
  camera.position = {0, 0, mastHeight};
  camera.pan = section.number("pan", -180, 180);
  camera.tilt = section.number("tilt", -90, 90);
  camera.sensorWidth = section.whole("width", 16, 16384);
  camera.sensorHeight = section.whole("height", 16, 16384);
  camera.horizontalFov = section.number("horizontal_fov", 1, 150);
  camera.rotation = section.has("rotation") ? section.whole("rotation", 0, 270) : 0;
  if (camera.rotation % 90 != 0) {
    section.fail("rotation", "must be 0, 90, 180 or 270");
  }
  return channel;
}

// What the device answers about its channels. A name given by the file stands.
void addChannelParameters(Model& model) {
  const auto add = [&](const std::string& name, const std::string& value) {
    model.parameters.try_emplace("root." + name, value);
  };
  add("ImageSource.NbrOfSources", std::to_string(model.world.channels.size()));
  for (std::size_t i = 0; i < model.world.channels.size(); ++i) {
    const OverviewCameraSetup& camera = model.world.channels[i].camera;
    const int common = std::gcd(camera.sensorWidth, camera.sensorHeight);
    const std::string source = "ImageSource.I" + std::to_string(i);
    const std::string centre = "PTZ.RemoteCenter.C" + std::to_string(i + 1);
    add(source + ".Name", model.world.channels[i].name);
    add(source + ".Sensor.AspectRatio", std::to_string(camera.sensorWidth / common) + ":" +
                                            std::to_string(camera.sensorHeight / common));
    add("Image.I" + std::to_string(i) + ".Appearance.Resolution",
        std::to_string(camera.sensorWidth) + "x" + std::to_string(camera.sensorHeight));
    add(centre + ".Pan", decimals(camera.pan, 4));
    add(centre + ".Tilt", decimals(camera.tilt, 4));
    add(centre + ".Roll", decimals(0, 4));
  }
}

Model readModel(const Section& root) {
  root.allowOnly({"base", "about", "parameters", "head", "mast_height_m", "stage", "channels"});
  Model model;
  model.parameters = root.section("parameters").texts();
  const Section head = root.section("head");
  model.head = readHead(head);
  model.headParameters = readHeadParameters(head, model.head);
  model.headBootSeconds = head.number("boot_s", 0, 600);
  model.world.mastHeight = root.number("mast_height_m", 1, 200);
  model.world.homePan = model.head.home.pan;
  const Section stage = root.section("stage");
  stage.allowOnly({"distance_m", "turn"});
  model.world.stageDistance = stage.number("distance_m", 1, 1000);
  model.world.stageTurn = stage.number("turn", -360, 360);
  for (const Section& channel : root.sections("channels")) {
    model.world.channels.push_back(readChannel(channel, model.world.mastHeight));
  }
  if (model.world.channels.empty() || model.world.channels.size() > MOST_CHANNELS) {
    root.fail("channels", "must be 1 to " + std::to_string(MOST_CHANNELS));
  }
  addChannelParameters(model);
  return model;
}

}  // namespace

bool Model::isMechanical() const {
  const auto says = [&](const char* name) {
    const auto found = parameters.find(std::string("root.Properties.") + name);
    return found != parameters.end() && found->second == "yes";
  };
  return says("PTZ.PTZ") && !says("PTZ.DigitalPTZ") && !says("PTZ.DriverManagement") &&
         !says("RemoteCameraControl.TRAVO");
}

Model loadModel(const std::filesystem::path& file) {
  const Json json = readWithBases(file);
  Model model = readModel(Section(json.get(), file.string(), ""));
  model.name = file.stem().string();
  return model;
}

Model loadModel(const std::filesystem::path& folder, const std::string& name) {
  const std::vector<std::string> names = modelNames(folder);
  if (std::find(names.begin(), names.end(), name) != names.end()) {
    return loadModel(folder / (name + ".json"));
  }
  std::string known;
  for (const std::string& other : names) {
    known += (known.empty() ? "" : ", ") + other;
  }
  throw ModelError(folder.string() + ": no model '" + name + "'; there are: " + known);
}

std::vector<std::string> modelNames(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().extension() == ".json") {
      names.push_back(entry.path().stem().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace device
