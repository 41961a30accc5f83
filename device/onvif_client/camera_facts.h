#ifndef DEVICE_ONVIF_CLIENT_CAMERA_FACTS_H
#define DEVICE_ONVIF_CLIENT_CAMERA_FACTS_H

#include <map>
#include <string>
#include <vector>

#include "onvif/xml.h"

namespace device::onvif {

// Where a camera's services are, by the vocabulary of each; from the answers of GetServices and
// GetCapabilities.
using ServiceAddresses = std::map<std::string, std::string>;

ServiceAddresses readServices(const XmlElement& response);
ServiceAddresses readCapabilities(const XmlElement& response);

// What GetDeviceInformation tells.
struct CameraIdentity {
  std::string manufacturer;
  std::string model;
  std::string serial;

  bool operator==(const CameraIdentity&) const = default;
};

CameraIdentity readIdentity(const XmlElement& response);

// One way in which a camera offers a picture.
struct MediaProfile {
  std::string token;
  std::string name;
  bool hasSource = false;
  int sourceWidth = 0;  // pixels, 0 when it is not told
  int sourceHeight = 0;
  int pictureWidth = 0;
  int pictureHeight = 0;
  bool hasAnalytics = false;
  std::string metadata;  // token of its metadata configuration; empty without one
  bool metadataTellsObjects = false;
  std::string ptz;  // token of its PTZ configuration; empty without one
  std::string ptzNode;

  bool operator==(const MediaProfile&) const = default;
};

// Of both media services.
std::vector<MediaProfile> readProfiles(const XmlElement& response);

}  // namespace device::onvif

#endif
