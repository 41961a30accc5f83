#ifndef DEVICE_BRIDGE_METADATA_SWITCH_H
#define DEVICE_BRIDGE_METADATA_SWITCH_H

#include <functional>
#include <optional>
#include <string>

#include "bridge/camera_survey.h"
#include "onvif/tag.h"
#include "onvif_client/camera_calls.h"

namespace device::bridge {

// A metadata configuration as a camera told it, with analytics switched on and compression switched
// off; everything else is as it was. prefix: of the service that is asked to take it, "trt" or
// "tr2".
onvif::Tag tellingObjects(const onvif::XmlElement& configuration, const std::string& prefix);

// Makes a profile of a camera tell its objects: adds a metadata configuration where there is none,
// and switches analytics on in it. In the main loop of its thread.
class MetadataSwitch {
 public:
  // words: for the user; empty when the camera has done it. Is called once.
  using Done = std::function<void(const std::string& words)>;

  // Throws std::runtime_error for what is no address.
  MetadataSwitch(const std::string& device, const onvif::Login& login,
                 const CameraAbilities& abilities, const onvif::MediaProfile& profile, Done done);
  MetadataSwitch(const MetadataSwitch&) = delete;
  MetadataSwitch& operator=(const MetadataSwitch&) = delete;
  ~MetadataSwitch() = default;

 private:
  using Next = void (MetadataSwitch::*)(const onvif::XmlElement& response);

  void ask(onvif::Tag operation, Next next);
  void configurationsCame(const onvif::XmlElement& response);
  void wasAdded(const onvif::XmlElement& response);
  void wasSet(const onvif::XmlElement& response);
  void set();

  bool isMedia2;
  std::string service;
  std::string profile;
  std::string token;  // of the profile's configuration; empty without one
  std::optional<onvif::Tag> wanted;
  Done done;
  onvif::CameraCalls calls;
};

}  // namespace device::bridge

#endif
