#include "bridge/told_parameters.h"

#include <jansson.h>

#include <algorithm>
#include <numeric>

#include "base/json_auto_ptr.h"
#include "base/text.h"
#include "web_server/json_values.h"

namespace device::bridge {

namespace {

std::string ratioOf(const onvif::PixelSize& size) {
  const int common = std::gcd(size.width, size.height);
  return std::to_string(size.width / common) + ":" + std::to_string(size.height / common);
}

std::string degrees(double value) {
  return text::formatted("%.4f", value);
}

std::string metres(double value) {
  return text::formatted("%.3f", value);
}

constexpr double PERSONS_MIDDLE = 0.9;  // metres above the ground
constexpr double LEAST_HEIGHT = 0.1;

// What its limits are made of, with the ranges that it tells by itself.
bool areLimitsAlike(const HeadTold& one, const HeadTold& other) {
  return one.pan == other.pan && one.tilt == other.tilt && one.panEnds == other.panEnds &&
         one.tiltEnds == other.tiltEnds && one.invertPan == other.invertPan &&
         one.invertTilt == other.invertTilt;
}

bool standsBesideTheHead(const OverviewSettings& camera) {
  return camera.offsetX != 0 || camera.offsetY != 0;
}

// Who follows by prediction stands on the ground by the overview's offset; else the host's
// mathematics of the head do. Told in both places it would count twice.
template <typename Tell>
void tellOffset(const BridgeSettings& settings, const OverviewSettings& camera,
                const std::string& number, const Tell& tell) {
  if (settings.following == "predictive") {
    tell("SentrelVideo.Overview." + number + ".OffsetX", metres(camera.offsetX));
    tell("SentrelVideo.Overview." + number + ".OffsetY", metres(camera.offsetY));
    return;
  }
  if (!standsBesideTheHead(camera)) {
    return;
  }
  const std::string centre = "PTZ.RemoteCenter." + number;
  const std::string height = metres(std::max(settings.mastHeight - PERSONS_MIDDLE, LEAST_HEIGHT));
  tell(centre + ".OffsetX", metres(camera.offsetX));
  tell(centre + ".OffsetY", metres(camera.offsetY));
  tell(centre + ".Height", height);
  tell(centre + ".HeadHeight", height);
}

json_t* channelJson(const OverviewSettings& camera, int number) {
  return json_pack("{s:i,s:o,s:i,s:i,s:i,s:f,s:f,s:f,s:f,s:f,s:f,s:f,s:f,s:b}", "camera", number,
                   "name", jsonText(camera.name), "width", camera.picture.width, "height",
                   camera.picture.height, "rotation", 0, "pan", camera.pan, "tilt", camera.tilt,
                   "roll", camera.roll, "hfov", camera.horizontalFov, "vfov", camera.verticalFov,
                   "distortion", camera.distortion, "offset_x_m", camera.offsetX, "offset_y_m",
                   camera.offsetY, "moves_with_head", 0);
}

}  // namespace

std::map<std::string, std::string> parametersOf(const BridgeSettings& settings, bool usesModule) {
  std::map<std::string, std::string> all;
  for (const auto& [name, value] : settings.parameters) {
    all["root." + (name.starts_with("root.") ? name.substr(5) : name)] = value;
  }
  const auto tell = [&all](const std::string& name, const std::string& value) {
    all.try_emplace("root." + name, value);
  };
  const std::size_t count = settings.cameras.size();
  tell("Brand.ProdNbr", "ONVIF-BRIDGE");
  tell("Properties.PTZ.PTZ", "yes");
  tell("Properties.PTZ.DigitalPTZ", "no");
  tell("Properties.PTZ.DriverManagement", "no");
  tell("Properties.RemoteCameraControl.TRAVO", "yes");
  tell("Properties.EmbeddedDevelopment.Version", usesModule ? "2.16" : "2.14");
  tell("Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", count > 1 ? "yes" : "no");
  tell("ImageSource.NbrOfSources", std::to_string(count));
  tell("SentrelVideo.Following", settings.following);
  tell("SentrelVideo.MastHeight", metres(settings.mastHeight));
  tell(IDENTIFY, "0");
  if (settings.head.statusAge) {
    tell("SentrelVideo.StatusAge", metres(*settings.head.statusAge));
  }
  for (std::size_t i = 0; i < count; ++i) {
    const OverviewSettings& camera = settings.cameras[i];
    const std::string source = "ImageSource.I" + std::to_string(i);
    const std::string centre = "PTZ.RemoteCenter.C" + std::to_string(i + 1);
    tell(source + ".Name", camera.name);
    tell(source + ".Sensor.AspectRatio", ratioOf(camera.picture));
    tell("Image.I" + std::to_string(i) + ".Appearance.Resolution",
         std::to_string(camera.picture.width) + "x" + std::to_string(camera.picture.height));
    tell(centre + ".Pan", degrees(camera.pan));
    tell(centre + ".Tilt", degrees(camera.tilt));
    tell(centre + ".Roll", degrees(camera.roll));
    if (camera.distortion != 0) {
      tell(centre + ".Distortion", text::formatted("%.6f", camera.distortion));
    }
    tellOffset(settings, camera, "C" + std::to_string(i + 1), tell);
  }
  return all;
}

std::vector<Lens> lensesOf(const BridgeSettings& settings) {
  std::vector<Lens> lenses;
  for (const OverviewSettings& camera : settings.cameras) {
    lenses.push_back({camera.horizontalFov, camera.verticalFov, 0});
  }
  return lenses;
}

bool areLensesAlike(const BridgeSettings& one, const BridgeSettings& other) {
  const auto isAlike = [](const Lens& a, const Lens& b) {
    return a.horizontalFov == b.horizontalFov && a.verticalFov == b.verticalFov;
  };
  return std::ranges::equal(lensesOf(one), lensesOf(other), isAlike);
}

bool isToldAlike(const BridgeSettings& one, const BridgeSettings& other) {
  const bool isOneOffset = std::ranges::any_of(one.cameras, standsBesideTheHead);
  BridgeSettings alike = one;
  alike.following = isOneOffset ? one.following : other.following;
  const HeadSettings& head = one.head;
  const HeadSettings& otherHead = other.head;
  return parametersOf(alike, false) == parametersOf(other, false) && areLensesAlike(one, other) &&
         one.hasHead() == other.hasHead() && head.product == otherHead.product &&
         head.address.device == otherHead.address.device &&
         head.told.fieldAngles == otherHead.told.fieldAngles &&
         areLimitsAlike(head.told, otherHead.told);
}

std::string modelJsonOf(const BridgeSettings& settings, const std::string& product) {
  json_t* channels = json_array();
  for (std::size_t i = 0; i < settings.cameras.size(); ++i) {
    json_array_append_new(channels, channelJson(settings.cameras[i], static_cast<int>(i) + 1));
  }
  const HeadTold& head = settings.head.told;
  const auto home = head.home.value_or(std::pair(0.0, 0.0));
  json_t* headJson =
      json_pack("{s:o,s:f,s:f,s:f,s:{s:f,s:f}}", "product", jsonText(product), "min_field_angle",
                head.fieldAngles.low, "max_field_angle", head.fieldAngles.high, "aspect",
                16.0 / 9.0, "home", "pan", home.first, "tilt", home.second);
  const JsonAutoPtr json(json_pack("{s:s,s:s,s:s,s:I,s:f,s:o,s:o}", "name", "onvif", "tracks",
                                   "real", "transport", "onvif", "seed", json_int_t{0},
                                   "mast_height_m", settings.mastHeight, "channels", channels,
                                   "head", headJson));
  return lineOf(json.get());
}

}  // namespace device::bridge
