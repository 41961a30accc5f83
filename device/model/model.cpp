#include "model/model.h"

#include <jansson.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numeric>
#include <utility>

#include "model/section.h"

namespace device {
namespace {

struct JsonDeleter {
  void operator()(json_t* json) const { json_decref(json); }
};
using Json = std::unique_ptr<json_t, JsonDeleter>;

constexpr int MOST_BASES = 8;  // bases of bases; more are a circle
constexpr int MOST_CHANNELS = 16;

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
  AxisSetup axis{
      .speed = section.number("speed"),
      .acceleration = section.number("acceleration"),
      .low = -180,
      .high = 180,
      .endless = section.flag("endless"),
      .gears = {.play = section.number("play"), .overshoot = section.number("overshoot")}};
  if (!axis.endless) {
    axis.low = section.number("low");
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
  return {.pan = section.number("pan", head.pan.low, head.pan.high),
          .tilt = section.number("tilt", head.tilt.low, head.tilt.high),
          .zoom = section.whole("zoom", head.minZoom, head.maxZoom)};
}

ZoomCurveKind zoomCurveKindOf(const std::string& name) {
  static const std::map<std::string, ZoomCurveKind> KINDS{
      {"linear", ZoomCurveKind::Linear},
      {"power", ZoomCurveKind::Power},
      {"logarithmic", ZoomCurveKind::Logarithmic},
      {"table", ZoomCurveKind::Table}};
  return KINDS.at(name);
}

// From fully out to fully in, each point further in and narrower than the one before.
void checkZoomTable(const Section& section, const std::vector<ZoomPoint>& table) {
  const bool isWhole =
      table.size() >= 2 && table.front().position == 0 && table.back().position == 1;
  const bool isFalling =
      std::adjacent_find(table.begin(), table.end(), [](const ZoomPoint& a, const ZoomPoint& b) {
        return b.position <= a.position || b.fieldAngle >= a.fieldAngle;
      }) == table.end();
  if (!isWhole || !isFalling) {
    section.fail("table", "must have growing positions from 0 to 1 and falling fields");
  }
}

ZoomCurve readZoomCurve(const Section& section) {
  ZoomCurve curve{.kind = zoomCurveKindOf(section.text("curve")),
                  .exponent = section.number("exponent"),
                  .table = {}};
  for (const Section& point : section.sections("table")) {
    curve.table.push_back({point.number("position"), point.number("field")});
  }
  if (curve.kind == ZoomCurveKind::Table) {
    checkZoomTable(section, curve.table);
  }
  return curve;
}

HeadSetup readHead(const Section& section) {
  HeadSetup head;
  head.pan = readAxis(section.section("pan"));
  head.tilt = readAxis(section.section("tilt"));
  head.link = {.latency = section.number("latency_s"),
               .jitter = section.number("latency_jitter_s")};
  head.speedHold = section.number("speed_hold_s");
  const Section drive = section.section("drive");
  head.drive = {.deadZone = drive.number("dead_zone"),
                .step = drive.number("step"),
                .exponent = drive.number("exponent")};
  const Section status = section.section("status");
  head.status = {.age = status.number("age_s"),
                 .period = status.number("period_s"),
                 .step = status.number("step"),
                 .noise = status.number("noise")};
  const Section network = section.section("network");
  head.calls.least = network.number("least_s");
  head.calls.most = network.number("most_s", head.calls.least, 2);
  const Section zoom = section.section("zoom");
  head.zoomSpeed = zoom.number("speed");
  head.minZoom = zoom.whole("min");
  head.maxZoom = zoom.whole("max", head.minZoom + 1, 1000000);
  head.zoomCurve = readZoomCurve(zoom);
  const Section field = section.section("field");
  head.minFieldAngle = field.number("min");
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
  for (auto& [name, value] : section.texts("parameters")) {
    parameters[name] = value;
  }
  return parameters;
}

ChannelSetup readChannel(const Section& section, double mastHeight) {
  ChannelSetup channel;
  channel.name = section.text("name");
  channel.movesWithHead = section.flag("moves_with_head");
  OverviewCameraSetup& camera = channel.camera;
  camera.position = {0, 0, mastHeight};
  camera.pan = section.number("pan");
  camera.tilt = section.number("tilt");
  camera.sensorWidth = section.whole("width");
  camera.sensorHeight = section.whole("height");
  camera.horizontalFov = section.number("horizontal_fov");
  camera.rotation = section.whole("rotation");
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

WorldSetup readWorld(const Section& root, const HeadSetup& head) {
  WorldSetup world;
  world.mastHeight = root.number("mast_height_m");
  world.homePan = head.home.pan;
  const Section stage = root.section("stage");
  world.stageDistance = stage.number("distance_m");
  world.stageTurn = stage.number("turn");
  for (const Section& channel : root.sections("channels")) {
    world.channels.push_back(readChannel(channel, world.mastHeight));
  }
  if (world.channels.empty() || world.channels.size() > MOST_CHANNELS) {
    root.fail("channels", "must be 1 to " + std::to_string(MOST_CHANNELS));
  }
  return world;
}

Model readModel(const Section& root) {
  Model model;
  model.about = root.text("about");
  model.parameters = root.texts("parameters");
  const Section head = root.section("head");
  model.head = readHead(head);
  model.headParameters = readHeadParameters(head, model.head);
  model.headBootSeconds = head.number("boot_s");
  model.world = readWorld(root, model.head);
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
  Model model = readModel(Section(json.get(), file.string()));
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
