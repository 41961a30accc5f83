#ifndef DEVICE_ONVIF_SERVER_CAMERA_PROFILE_H
#define DEVICE_ONVIF_SERVER_CAMERA_PROFILE_H

#include <string>
#include <vector>

#include "model/model.h"
#include "onvif/tag.h"
#include "onvif_server/operations.h"
#include "world/world.h"

namespace device::onvif {

// One picture of the device with what belongs to it. All tokens follow from the name.
struct CameraProfile {
  std::string token;  // "head", "overview1", ...
  std::string name;   // for people
  int camera = 0;     // the overview camera's number from 1; 0 for the head
  int width = 0;      // pixels, as the stream has them
  int height = 0;

  bool isHead() const { return camera == 0; }
  std::string source() const { return "source_" + token; }
  std::string sourceConfiguration() const { return "picture_" + token; }
  std::string encoder() const { return "video_" + token; }
  std::string analytics() const { return isHead() ? "" : "analytics_" + token; }  // or none
  std::string metadata() const { return "metadata_" + token; }
};

constexpr int FRAMES_PER_SECOND = 10;

// The head first: clients that know of one picture take the first, and expect it to move.
std::vector<CameraProfile> cameraProfiles(const Model& model, const World& world);

// The profile of a request's ProfileToken. Throws Fault.
const CameraProfile& profileOf(const std::vector<CameraProfile>& profiles, const Request& request,
                               const std::string& nameSpace);

// The elements that both media services have in common, by the names that each gives them.
Tag sourceConfigurationTag(const std::string& name, const CameraProfile& profile);
Tag boundsTag(const CameraProfile& profile);
Tag resolutionTag(const std::string& name, const CameraProfile& profile);

}  // namespace device::onvif

#endif
