#include "bridge/camera_survey.h"

#include <algorithm>
#include <utility>

#include "onvif/namespaces.h"
#include "onvif/ptz_space.h"

namespace device::bridge {

namespace {

using onvif::MediaProfile;
using onvif::SoapReply;
using onvif::Tag;
using onvif::XmlElement;
namespace ns = onvif::ns;
namespace space = onvif::space;

std::string nameOf(const MediaProfile& profile) {
  return profile.name.empty() || profile.name == profile.token
             ? profile.token
             : std::string(profile.name).append(" (").append(profile.token).append(")");
}

void describeHead(const CameraAbilities& abilities, std::vector<std::string>* words) {
  const MediaProfile* profile = abilities.headProfile();
  if (profile == nullptr) {
    words->emplace_back("It moves no head");
    return;
  }
  words->push_back("It moves a head, by the profile " + nameOf(*profile));
  const bool isInDegrees =
      onvif::findSpace(abilities.head.positions, space::POSITION_DEGREES) != nullptr;
  words->emplace_back(isInDegrees ? "Its positions are degrees"
                                  : "It does not tell degrees: enter its pan and its tilt range");
  if (!abilities.status.panTilt) {
    words->emplace_back("It does not say where its head is: it cannot follow anybody");
  }
  if (abilities.status.fieldAngle) {
    words->emplace_back("It tells its field angle");
  } else if (onvif::findSpace(abilities.head.zoomPositions, space::ZOOM_MILLIMETRES) != nullptr) {
    words->emplace_back("It tells its focal length: enter the width of its sensor");
  } else {
    words->emplace_back("It does not tell its field angle: enter it, fully in and fully out");
  }
}

void describeObjects(const CameraAbilities& abilities, std::vector<std::string>* words) {
  bool hasAnalytics = false;
  for (const MediaProfile& profile : abilities.profiles) {
    if (!profile.hasAnalytics || !profile.hasSource) {
      continue;
    }
    hasAnalytics = true;
    words->push_back(profile.metadataTellsObjects
                         ? "It tells objects, by the profile " + nameOf(profile)
                         : "It finds objects, but does not tell them by the profile " +
                               nameOf(profile) +
                               ": analytics can be switched on in its metadata from here");
  }
  if (!hasAnalytics) {
    words->emplace_back(
        "It finds no objects: switch object analytics on in the camera, and add them to a profile");
  }
}

}  // namespace

const MediaProfile* CameraAbilities::headProfile() const {
  const auto found = std::ranges::find_if(
      profiles, [](const MediaProfile& profile) { return !profile.ptz.empty(); });
  return found != profiles.end() && services.contains(ns::PTZ) ? &*found : nullptr;
}

const MediaProfile* CameraAbilities::profileOf(const std::string& token) const {
  const auto found = std::ranges::find(profiles, token, &MediaProfile::token);
  return found != profiles.end() ? &*found : nullptr;
}

bool CameraAbilities::hasMedia2() const {
  return services.contains(ns::MEDIA2);
}

std::vector<std::string> wordsOf(const CameraAbilities& abilities) {
  const onvif::CameraIdentity& identity = abilities.identity;
  std::vector<std::string> words;
  std::string name = identity.manufacturer;
  name.append(name.empty() || identity.model.empty() ? "" : " ").append(identity.model);
  if (!name.empty()) {
    words.push_back(name + (identity.serial.empty() ? "" : ", number " + identity.serial));
  }
  describeHead(abilities, &words);
  describeObjects(abilities, &words);
  return words;
}

std::string deviceAddressOf(const std::string& given) {
  const std::size_t scheme = given.find("://");
  const std::string rest = scheme == std::string::npos ? given : given.substr(scheme + 3);
  std::string address = scheme == std::string::npos ? "http://" + rest : given;
  const std::size_t path = rest.find('/');
  if (path == std::string::npos || path + 1 == rest.size()) {
    address.erase(address.find_last_not_of('/') + 1);
    address += "/onvif/device_service";
  }
  return address;
}

CameraSurvey::CameraSurvey(const std::string& device, const onvif::Login& login,
                           Callbacks callbacks)
    : callbacks(std::move(callbacks)), calls(device, login) {
  ask(device, Tag("tds:GetServices", Tag("tds:IncludeCapability", false)),
      &CameraSurvey::servicesCame);
}

// What a camera does not have is answered with nothing.
void CameraSurvey::ask(const std::string& service, Tag operation, Next next) {
  calls.call(service, std::move(operation), [this, next](const SoapReply& reply) {
    const bool isThere = reply.ok() || (reply.failure().trouble != onvif::Trouble::unreachable &&
                                        reply.failure().trouble != onvif::Trouble::timeOut &&
                                        reply.failure().trouble != onvif::Trouble::password &&
                                        reply.failure().trouble != onvif::Trouble::malformed);
    if (!isThere) {
      return callbacks.onTrouble(reply.failure().words);
    }
    (this->*next)(reply.ok() ? Answer(reply.body()) : std::nullopt);
  });
}

void CameraSurvey::servicesCame(const Answer& response) {
  if (response) {
    abilities.services = onvif::readServices(*response);
  }
  if (abilities.services.contains(ns::MEDIA) || abilities.hasMedia2()) {
    return askIdentity();
  }
  ask(calls.getDevice(), Tag("tds:GetCapabilities", Tag("tds:Category", "All")),
      &CameraSurvey::capabilitiesCame);
}

void CameraSurvey::capabilitiesCame(const Answer& response) {
  if (response) {
    abilities.services = onvif::readCapabilities(*response);
  }
  if (!abilities.services.contains(ns::MEDIA)) {
    return callbacks.onTrouble("What answers there is no camera, or does not say what it has");
  }
  askIdentity();
}

void CameraSurvey::askIdentity() {
  ask(calls.getDevice(), Tag("tds:GetDeviceInformation"), &CameraSurvey::identityCame);
}

void CameraSurvey::identityCame(const Answer& response) {
  if (response) {
    abilities.identity = onvif::readIdentity(*response);
  }
  if (abilities.hasMedia2()) {
    return ask(abilities.services[ns::MEDIA2], Tag("tr2:GetProfiles", Tag("tr2:Type", "All")),
               &CameraSurvey::profilesCame);
  }
  ask(abilities.services[ns::MEDIA], Tag("trt:GetProfiles"), &CameraSurvey::profilesCame);
}

void CameraSurvey::profilesCame(const Answer& response) {
  if (response) {
    abilities.profiles = onvif::readProfiles(*response);
  }
  const MediaProfile* head = abilities.headProfile();
  if (head == nullptr) {
    return callbacks.onFound(abilities);
  }
  ask(headService(), Tag("tptz:GetNodes"), &CameraSurvey::nodesCame);  // some have no GetNode
}

void CameraSurvey::nodesCame(const Answer& response) {
  if (response) {
    onvif::readNodeFacts(*response, abilities.headProfile()->ptzNode, &abilities.head);
  }
  ask(headService(), Tag("tptz:GetConfigurations"), &CameraSurvey::configurationsCame);
}

void CameraSurvey::configurationsCame(const Answer& response) {
  const std::string& token = abilities.headProfile()->ptz;
  for (const XmlElement& one : response ? response->children() : std::vector<XmlElement>()) {
    if (one.attribute("token") == token) {
      onvif::readHeadFacts(one, &abilities.head);
    }
  }
  ask(headService(), Tag("tptz:GetConfigurationOptions", Tag("tptz:ConfigurationToken", token)),
      &CameraSurvey::optionsCame);
}

void CameraSurvey::optionsCame(const Answer& response) {
  if (response && response->firstChild()) {
    onvif::readHeadFacts(*response->firstChild(), &abilities.head);
  }
  ask(headService(),
      Tag("tptz:GetStatus", Tag("tptz:ProfileToken", abilities.headProfile()->token)),
      &CameraSurvey::statusCame);
}

void CameraSurvey::statusCame(const Answer& response) {
  if (const auto status = response ? response->child(ns::PTZ, "PTZStatus") : std::nullopt) {
    abilities.status = onvif::readHeadReading(*status);
  }
  callbacks.onFound(abilities);
}

const std::string& CameraSurvey::headService() const {
  return abilities.services.at(ns::PTZ);
}

}  // namespace device::bridge
