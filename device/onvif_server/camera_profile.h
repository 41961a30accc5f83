#ifndef DEVICE_ONVIF_SERVER_CAMERA_PROFILE_H
#define DEVICE_ONVIF_SERVER_CAMERA_PROFILE_H

#include <string>
#include <vector>

#include "model/model.h"
#include "onvif/tag.h"
#include "onvif_server/operations.h"
#include "world/world.h"

namespace device::onvif {

enum class VideoEncoding { h264, jpeg };

// One picture of the device as one encoder gives it, with what belongs to it. A picture has a
// profile for each encoding; what does not belong to the encoder is the same in both. All tokens
// follow from the picture and the encoding.
struct CameraProfile {
  std::string token;  // "head", "overview1", "overview1_jpeg", ...
  std::string name;   // for people
  int camera = 0;     // the overview camera's number from 1; 0 for the head
  VideoEncoding encoding = VideoEncoding::h264;
  int width = 0;  // pixels, as the stream has them
  int height = 0;

  bool isHead() const { return camera == 0; }
  bool isJpeg() const { return encoding == VideoEncoding::jpeg; }
  std::string picture() const { return isHead() ? "head" : "overview" + std::to_string(camera); }
  std::string stream() const { return picture() + (isJpeg() ? "/jpeg" : ""); }  // by RTSP
  std::string source() const { return "source_" + picture(); }
  std::string sourceConfiguration() const { return "picture_" + picture(); }
  std::string encoder() const { return "video_" + token; }
  std::string analytics() const { return isHead() ? "" : "analytics_" + picture(); }  // or none
  std::string metadata() const { return "metadata_" + picture(); }
};

constexpr int FRAMES_PER_SECOND = 10;

// Profiles that use one configuration of anything but an encoder.
constexpr int USES = 2;

// The head first: clients that know of one picture take the first, and expect it to move. All of
// H.264 come before those of Motion JPEG, in the same order.
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
