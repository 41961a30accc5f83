#ifndef DEVICE_BRIDGE_CAMERA_SURVEY_H
#define DEVICE_BRIDGE_CAMERA_SURVEY_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "onvif_client/camera_calls.h"
#include "onvif_client/camera_facts.h"
#include "onvif_client/head_facts.h"

namespace device::bridge {

// What a camera can, as far as it says so itself.
struct CameraAbilities {
  onvif::CameraIdentity identity;
  onvif::ServiceAddresses services;
  std::vector<onvif::MediaProfile> profiles;
  onvif::HeadFacts head;      // of the first profile that moves one
  onvif::HeadReading status;  // likewise

  // The first that moves a head; null without one.
  const onvif::MediaProfile* headProfile() const;
  const onvif::MediaProfile* profileOf(const std::string& token) const;
  bool hasMedia2() const;
};

// For the user, a sentence each without its full stop.
std::vector<std::string> wordsOf(const CameraAbilities& abilities);

// Where the device service of a camera is that a user names: an address of its own, or a host, with
// a port or without.
std::string deviceAddressOf(const std::string& given);

// Asks a camera once what it can. In the main loop of its thread.
class CameraSurvey {
 public:
  struct Callbacks {
    std::function<void(const CameraAbilities& abilities)> onFound;
    std::function<void(const std::string& words)> onTrouble;  // for the user; either is the last
  };

  // Throws std::runtime_error for what is no address.
  CameraSurvey(const std::string& device, const onvif::Login& login, Callbacks callbacks);
  CameraSurvey(const CameraSurvey&) = delete;
  CameraSurvey& operator=(const CameraSurvey&) = delete;
  ~CameraSurvey() = default;

 private:
  using Answer = std::optional<onvif::XmlElement>;
  using Next = void (CameraSurvey::*)(const Answer& response);

  void ask(const std::string& service, onvif::Tag operation, Next next);
  void servicesCame(const Answer& response);
  void capabilitiesCame(const Answer& response);
  void askIdentity();
  void identityCame(const Answer& response);
  void profilesCame(const Answer& response);
  void nodesCame(const Answer& response);
  void configurationsCame(const Answer& response);
  void optionsCame(const Answer& response);
  void statusCame(const Answer& response);
  const std::string& headService() const;

  Callbacks callbacks;
  CameraAbilities abilities;
  onvif::CameraCalls calls;
};

}  // namespace device::bridge

#endif
