#include "model/model.h"

#include <jansson.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numeric>
#include <utility>

#include "base/json_auto_ptr.h"
#include "base/text.h"
#include "model/section.h"

namespace device {
namespace {

constexpr int MOST_BASES = 8;  // bases of bases; more are a circle
constexpr int MOST_CHANNELS = 16;

std::string decimals(double value, int count) {
  return text::formatted("%.*f", count, value);
}

JsonAutoPtr readFile(const std::filesystem::path& file) {
  json_error_t error;
  JsonAutoPtr json(json_load_file(file.c_str(), JSON_REJECT_DUPLICATES, &error));
  if (!json) {
    const std::string line = error.line < 0 ? "" : "line " + std::to_string(error.line) + ": ";
    throw ModelError(file.string() + ": " + line + error.text);
  }
  if (!json_is_object(json.get())) {
    throw ModelError(file.string() + ": must be an object");
  }
  return json;
}

std::filesystem::path findBase(const std::filesystem::path& file, const std::string& name,
                               const std::filesystem::path& otherFolder) {
  const std::string base = name + ".json";
  const std::filesystem::path beside = file.parent_path() / base;
  const bool isElsewhere =
      !std::filesystem::exists(beside) && std::filesystem::exists(otherFolder / base);
  return isElsewhere ? otherFolder / base : beside;
}

// The file laid over its bases.
JsonAutoPtr readWithBases(const std::filesystem::path& file,
                          const std::filesystem::path& otherFolder, int depth = 0) {
  JsonAutoPtr own = readFile(file);
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
  JsonAutoPtr whole = readWithBases(findBase(file, name, otherFolder), otherFolder, depth + 1);
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
      {"linear", ZoomCurveKind::linear},
      {"power", ZoomCurveKind::power},
      {"logarithmic", ZoomCurveKind::logarithmic},
      {"table", ZoomCurveKind::table}};
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
  if (curve.kind == ZoomCurveKind::table) {
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

// An axis that turns for ever has none.
void addStops(std::map<std::string, std::string>& parameters, const std::string& name,
              const AxisSetup& axis) {
  if (!axis.endless) {
    parameters["PTZ.Limit.L1.Min" + name] = decimals(axis.low, 2);
    parameters["PTZ.Limit.L1.Max" + name] = decimals(axis.high, 2);
  }
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
  addStops(parameters, "Pan", head.pan);
  addStops(parameters, "Tilt", head.tilt);
  for (auto& [name, value] : section.texts("parameters")) {
    parameters[name] = value;
  }
  return parameters;
}

MountingError readMountingError(const Section& section) {
  return {.pan = section.number("pan"),
          .tilt = section.number("tilt"),
          .roll = section.number("roll"),
          .randomSigns = section.flag("random_signs")};
}

FrameLinkSetup readFrames(const Section& section) {
  return {.age = section.number("age_s"),
          .ageJitter = section.number("age_jitter_s"),
          .lost = section.number("lost"),
          .doubled = section.number("doubled"),
          .swapped = section.number("swapped"),
          .stampOffset = section.number("stamp_offset_s"),
          .stampJitter = section.number("stamp_jitter_s")};
}

LensDistortion readDistortion(const Section& section) {
  return {.k1 = section.number("k1"), .k2 = section.number("k2")};
}

// A lens whose picture folds before its corners shows some places twice and others never.
void checkCorners(const Section& section, const OverviewCameraSetup& camera) {
  const double reach = reachOf(camera.distortion);
  if (std::isinf(reach)) {
    return;
  }
  const OverviewCamera lens(camera);
  const double halfWidth = std::tan(toRadians(lens.horizontalFov() / 2));
  const double corner =
      std::hypot(halfWidth, halfWidth * lens.pictureHeight() / lens.pictureWidth());
  if (corner >= distorted(camera.distortion, reach)) {
    section.fail("k1", "must leave the corners of each channel's picture within the lens' reach");
  }
}

ChannelSetup readChannel(const Section& section, const Section& overview, double mastHeight) {
  ChannelSetup channel;
  channel.mountingError = readMountingError(overview.section("mounting_error"));
  channel.frames = readFrames(overview.section("frames"));
  channel.name = section.text("name");
  channel.movesWithHead = section.flag("moves_with_head");
  OverviewCameraSetup& camera = channel.camera;
  camera.position = {section.number("x_m"), section.number("y_m"), mastHeight};
  camera.pan = section.number("pan");
  camera.tilt = section.number("tilt");
  camera.sensorWidth = section.whole("width");
  camera.sensorHeight = section.whole("height");
  camera.horizontalFov = section.number("horizontal_fov");
  camera.rotation = section.whole("rotation");
  if (camera.rotation % 90 != 0) {
    section.fail("rotation", "must be 0, 90, 180 or 270");
  }
  const Section distortion = overview.section("distortion");
  camera.distortion = readDistortion(distortion);
  checkCorners(distortion, camera);
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

std::vector<Block> readScenery(const Section& root) {
  std::vector<Block> scenery;
  for (const Section& block : root.sections("scenery")) {
    scenery.push_back({.middle = {block.number("x_m"), block.number("y_m")},
                       .width = block.number("width_m"),
                       .depth = block.number("depth_m"),
                       .height = block.number("height_m"),
                       .turn = block.number("turn")});
  }
  return scenery;
}

OcclusionSetup readOcclusions(const Section& section) {
  OcclusionSetup occlusions;
  occlusions.least = section.number("least_s");
  occlusions.most = section.number("most_s", std::max(occlusions.least, 0.1), 60);
  occlusions.perSecond = section.number("per_s", 0, 1 / occlusions.most);
  return occlusions;
}

GhostSetup readGhost(const Section& section) {
  static const std::map<std::string, GhostKind> KINDS{{"tree", GhostKind::tree},
                                                      {"shadow", GhostKind::shadow},
                                                      {"headlights", GhostKind::headlights}};
  GhostSetup ghost{.kind = KINDS.at(section.text("kind")),
                   .middle = {section.number("x_m"), section.number("y_m")},
                   .width = section.number("width_m"),
                   .length = section.number("length_m"),
                   .turn = section.number("turn"),
                   .perMinute = 0,
                   .seconds = section.number("seconds")};
  ghost.perMinute = section.number("per_minute", 0, 60 / ghost.seconds);
  return ghost;
}

VelocityKind velocityKindOf(const std::string& name) {
  static const std::map<std::string, VelocityKind> KINDS{
      {"exact", VelocityKind::exact}, {"past", VelocityKind::past}, {"none", VelocityKind::none}};
  return KINDS.at(name);
}

DetectionSetup readDetections(const Section& section) {
  const Section shadow = section.section("shadow");
  DetectionSetup detections;
  detections.vertexNoise = section.number("vertex_noise_px");
  detections.endNoise = section.number("end_noise_px");
  detections.missed = section.number("missed");
  detections.missedSmall = section.number("missed_small");
  detections.smallPixels = section.number("small_px");
  detections.missedHidden = section.number("missed_hidden");
  detections.leastPixels = section.number("least_px");
  detections.hiddenByOthers = section.flag("hidden_by_others");
  detections.mostHidden = section.number("most_hidden");
  detections.mergedFrom = section.number("merged_from");
  detections.occlusions = readOcclusions(section.section("occlusions"));
  detections.memory = section.number("memory_s");
  detections.newId = section.number("new_id");
  detections.swapped = section.number("swapped");
  detections.shadowLength = shadow.number("length");
  detections.shadowTurn = shadow.number("turn");
  detections.velocity = velocityKindOf(section.text("velocity"));
  detections.velocityNoise = section.number("velocity_noise");
  detections.velocityPictures = section.whole("velocity_pictures");
  for (const Section& ghost : section.sections("ghosts")) {
    detections.ghosts.push_back(readGhost(ghost));
  }
  return detections;
}

WorldSetup readWorld(const Section& root, const HeadSetup& head) {
  WorldSetup world;
  world.mastHeight = root.number("mast_height_m");
  world.homePan = head.home.pan;
  const Section stage = root.section("stage");
  world.stageDistance = stage.number("distance_m");
  world.stageTurn = stage.number("turn");
  const Section people = root.section("people");
  world.peopleHeight = people.number("height_m");
  world.peopleHeightDeviation = people.number("height_deviation_m");
  world.detections = readDetections(root.section("detections"));
  world.scenery = readScenery(root);
  world.scene = root.text("scene");
  const Section survey = root.section("survey");
  world.surveyError = {.mastHeight = survey.number("mast_height"),
                       .offset = survey.number("offset_m")};
  const Section overview = root.section("overview");
  for (const Section& channel : root.sections("channels")) {
    world.channels.push_back(readChannel(channel, overview, world.mastHeight));
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
  return loadModelFile(file, file.parent_path());
}

Model loadModelFile(const std::filesystem::path& file, const std::filesystem::path& otherFolder) {
  const JsonAutoPtr json = readWithBases(file, otherFolder);
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
