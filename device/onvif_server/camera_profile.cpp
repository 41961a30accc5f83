#include "onvif_server/camera_profile.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "onvif/fault.h"

namespace device::onvif {
namespace {

constexpr int LONGER_SIDE = 1280;  // pixels

// Of whole blocks, as encoders want it.
int blockSide(double pixels) {
  constexpr int BLOCK = 8;  // pixels
  return BLOCK * static_cast<int>(std::lround(pixels / BLOCK));
}

CameraProfile scaled(CameraProfile profile, double width, double height) {
  const double scale = LONGER_SIDE / std::max(width, height);
  profile.width = blockSide(width * scale);
  profile.height = blockSide(height * scale);
  return profile;
}

}  // namespace

std::vector<CameraProfile> cameraProfiles(const Model& model, const World& world) {
  std::vector<CameraProfile> profiles = {
      scaled({.token = "head", .name = "Head"}, model.head.aspectRatio, 1)};
  for (int channel = 0; channel < world.channelCount(); ++channel) {
    const OverviewCamera& camera = world.camera(channel);
    const std::string number = std::to_string(channel + 1);
    profiles.push_back(
        scaled({.token = "overview" + number, .name = "Overview " + number, .camera = channel + 1},
               camera.pictureWidth(), camera.pictureHeight()));
  }
  const std::size_t pictures = profiles.size();
  for (std::size_t i = 0; i < pictures; ++i) {
    CameraProfile profile = profiles[i];
    profile.token += "_jpeg";
    profile.name += " JPEG";
    profile.encoding = VideoEncoding::jpeg;
    profiles.push_back(std::move(profile));
  }
  return profiles;
}

const CameraProfile& profileOf(const std::vector<CameraProfile>& profiles, const Request& request,
                               const std::string& nameSpace) {
  const std::string token = requiredText(request, nameSpace, "ProfileToken");
  const auto found = std::ranges::find(profiles, token, &CameraProfile::token);
  if (found == profiles.end()) {
    throw invalidArgument("ter:NoProfile", "There is no profile " + token);
  }
  return *found;
}

Tag boundsTag(const CameraProfile& profile) {
  return Tag("tt:Bounds", Attribute("x", 0), Attribute("y", 0), Attribute("width", profile.width),
             Attribute("height", profile.height));
}

Tag sourceConfigurationTag(const std::string& name, const CameraProfile& profile) {
  return Tag(name, Attribute("token", profile.sourceConfiguration()), Tag("tt:Name", profile.name),
             Tag("tt:UseCount", USES), Tag("tt:SourceToken", profile.source()), boundsTag(profile));
}

Tag resolutionTag(const std::string& name, const CameraProfile& profile) {
  return Tag(name, Tag("tt:Width", profile.width), Tag("tt:Height", profile.height));
}

}  // namespace device::onvif
