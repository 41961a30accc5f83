#include "bridge/camera_link.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/units.h"
#include "onvif/namespaces.h"

namespace device::bridge {

namespace {

using onvif::MediaProfile;
using onvif::SoapReply;
using onvif::Tag;
using onvif::XmlElement;
namespace ns = onvif::ns;

constexpr guint REOPENING = 50;  // milliseconds after a stream broke
constexpr char NO_HEAD[] =
    "The camera has no profile that moves a head: switch PTZ on in one of its profiles";
constexpr char NO_OBJECTS[] =
    "The camera has no profile with a picture and analytics: switch object analytics on in the "
    "camera, and metadata in the same profile";
// What a fault says of a profile that there is no more.
constexpr std::array<std::string_view, 3> PROFILE_GONE = {"NoProfile", "NoEntity", "NoConfig"};

guint millisecondsOf(std::int64_t microseconds) {
  return static_cast<guint>(microseconds / units::MICROSECONDS_PER_MILLISECOND);
}

}  // namespace

CameraLink::CameraLink(const CameraAddress& address, const onvif::Login& login, bool isHead,
                       bool wantsMetadata, Callbacks callbacks)
    : CameraLink(address, login, isHead, wantsMetadata, std::move(callbacks), Patience()) {}

CameraLink::CameraLink(const CameraAddress& address, const onvif::Login& login, bool isHead,
                       bool wantsMetadata, Callbacks callbacks, const Patience& patience)
    : address(address),
      login(login),
      isHead(isHead),
      wantsMetadata(wantsMetadata),
      callbacks(std::move(callbacks)),
      patience(patience),
      calls(address.device, login) {
  begin();
}

CameraLink::~CameraLink() = default;

void CameraLink::begin() {
  finding = {};
  ask(address.device, Tag("tds:GetServices", Tag("tds:IncludeCapability", false)),
      &CameraLink::servicesCame);
}

// An operation that a camera does not have is answered by next with nothing.
void CameraLink::ask(const std::string& service, Tag operation, Next next) {
  calls.call(service, std::move(operation), [this, next](const SoapReply& reply) {
    if (!reply.ok() && reply.failure().trouble != onvif::Trouble::missing) {
      const bool isStreamRefused =
          next == &CameraLink::streamCame && reply.failure().trouble == onvif::Trouble::refused;
      return isStreamRefused ? streamRefused(reply.failure()) : failed(reply.failure().words);
    }
    (this->*next)(reply.ok() ? std::optional(reply.body()) : std::nullopt);
  });
}

void CameraLink::servicesCame(const std::optional<XmlElement>& response) {
  if (response) {
    finding.services = onvif::readServices(*response);
  }
  if (finding.services.contains(ns::MEDIA) || finding.services.contains(ns::MEDIA2)) {
    return askIdentity();
  }
  ask(address.device, Tag("tds:GetCapabilities", Tag("tds:Category", "All")),
      &CameraLink::capabilitiesCame);
}

void CameraLink::capabilitiesCame(const std::optional<XmlElement>& response) {
  if (response) {
    finding.services = onvif::readCapabilities(*response);
  }
  if (!finding.services.contains(ns::MEDIA)) {
    return failed("What answers there is no camera, or does not say what it has");
  }
  askIdentity();
}

void CameraLink::askIdentity() {
  ask(address.device, Tag("tds:GetDeviceInformation"), &CameraLink::identityCame);
}

void CameraLink::identityCame(const std::optional<XmlElement>& response) {
  if (response) {
    finding.identity = onvif::readIdentity(*response);
  }
  if (usesMedia2()) {
    ask(finding.services[ns::MEDIA2], Tag("tr2:GetProfiles", Tag("tr2:Type", "All")),
        &CameraLink::profilesCame);
  } else {
    ask(finding.services[ns::MEDIA], Tag("trt:GetProfiles"), &CameraLink::profilesCame);
  }
}

void CameraLink::profilesCame(const std::optional<XmlElement>& response) {
  const auto profiles = response ? onvif::readProfiles(*response) : std::vector<MediaProfile>();
  const auto fits = [&](const MediaProfile& profile) {
    if (!address.profile.empty()) {
      return profile.token == address.profile;
    }
    return isHead ? !profile.ptz.empty() : profile.hasSource && profile.hasAnalytics;
  };
  const auto chosen = std::ranges::find_if(profiles, fits);
  if (chosen == profiles.end()) {
    const std::string missing = "The camera has no profile " + address.profile;
    return failed(!address.profile.empty() ? missing : isHead ? NO_HEAD : NO_OBJECTS);
  }
  if (isHead && (chosen->ptz.empty() || !finding.services.contains(ns::PTZ))) {
    return failed(NO_HEAD);
  }
  finding.profile = *chosen;
  if (!isProfileInDoubt || found != finding) {
    found = finding;
    callbacks.onFound(*found);
  }
  if (wantsMetadata) {
    return prepareMetadata();
  }
  succeeded();
}

// The metadata of a head are a help only: polling does without.
void CameraLink::prepareMetadata() {
  const MediaProfile& profile = found->profile;
  if (isHead && profile.metadata.empty()) {
    return succeeded();
  }
  if (profile.metadata.empty()) {
    return failed("The profile " + profile.token +
                  " has no metadata: add a metadata configuration to it in the camera");
  }
  if (!isHead && !profile.metadataTellsObjects) {
    return failed("The metadata of the profile " + profile.token +
                  " tell no objects: switch analytics on in the metadata configuration " +
                  profile.metadata + " of the camera");
  }
  askForStream();
}

void CameraLink::askForStream() {
  const std::string& token = found->profile.token;
  if (usesMedia2()) {
    ask(found->services[ns::MEDIA2],
        Tag("tr2:GetStreamUri", Tag("tr2:Protocol", "RTSP"), Tag("tr2:ProfileToken", token)),
        &CameraLink::streamCame);
    return;
  }
  ask(found->services[ns::MEDIA],
      Tag("trt:GetStreamUri",
          Tag("trt:StreamSetup", Tag("tt:Stream", "RTP-Unicast"),
              Tag("tt:Transport", Tag("tt:Protocol", "RTSP"))),
          Tag("trt:ProfileToken", token)),
      &CameraLink::streamCame);
}

void CameraLink::streamCame(const std::optional<XmlElement>& response) {
  std::string uri;
  for (const XmlElement& child : response ? response->children() : std::vector<XmlElement>()) {
    const auto inner = child.child(ns::SCHEMA, "Uri");
    uri = child.name().name == "Uri" ? child.text() : inner ? inner->text() : uri;
  }
  if (!uri.starts_with("rtsp://")) {
    return streamFailed("The camera does not say where its stream is");
  }
  streamUri = onvif::reachedAt(uri, address.device);
  openStream();
}

void CameraLink::openStream() try {
  firstCame.reset();
  stream = std::make_unique<onvif::MetadataStream>(
      streamUri, login,
      onvif::MetadataStream::Callbacks{
          [this](const onvif::MetadataArrival& arrival) { metadataCame(arrival); },
          [this](const std::string& words) { streamBroke(words); }});
} catch (const std::runtime_error& error) {
  streamFailed(error.what());
}

void CameraLink::metadataCame(const onvif::MetadataArrival& arrival) {
  firstCame = firstCame.value_or(arrival.time);
  giveUp.reset();
  broken.clear();
  succeeded();
  callbacks.onMetadata(arrival);
}

void CameraLink::streamBroke(const std::string& words) {
  if (!firstCame || g_get_monotonic_time() - *firstCame < patience.lived) {
    const std::string first = broken.empty() ? words : broken;
    return streamFailed(first);
  }
  broken = words;
  stream.reset();
  reopening = startTimer(REOPENING, reopeningDue, this);
  giveUp = startTimer(millisecondsOf(patience.inTime), givingUpDue, this);
}

void CameraLink::succeeded() {
  pause.succeeded();
  if (!told.empty()) {
    told.clear();
    callbacks.announce("The camera is there again");
  }
}

// A head is there without it: it is asked where it is, and is not found anew for its stream.
void CameraLink::streamFailed(const std::string& words) {
  failed(words);
  isStreamAlone = isHead;
}

// A head that knows its profile no more knows perhaps another one; if it tells the same one, it is
// as it was.
void CameraLink::streamRefused(const onvif::Failure& failure) {
  const auto isOf = [&](std::string_view subcode) { return failure.hasSubcode(subcode); };
  if (std::ranges::none_of(PROFILE_GONE, isOf)) {
    return streamFailed(failure.words);
  }
  failed(failure.words);
  isProfileInDoubt = isHead;
}

void CameraLink::failed(const std::string& words) {
  isStreamAlone = false;
  isProfileInDoubt = false;
  tell(words);
  if (stream || !broken.empty()) {
    stream.reset();
    callbacks.onLost();
  }
  broken.clear();
  giveUp.reset();
  retry = startTimer(millisecondsOf(pause.next()), retryDue, this);
}

void CameraLink::tell(const std::string& words) {
  if (std::exchange(told, words) != words) {
    callbacks.announce(words);
  }
}

bool CameraLink::usesMedia2() const {
  return finding.services.contains(ns::MEDIA2);
}

// Whatever it was, the camera may be another one by now.
gboolean CameraLink::retryDue(gpointer data) {
  auto* self = static_cast<CameraLink*>(data);
  if (self->isStreamAlone) {
    self->askForStream();
  } else {
    self->begin();
  }
  return G_SOURCE_REMOVE;
}

gboolean CameraLink::reopeningDue(gpointer data) {
  static_cast<CameraLink*>(data)->openStream();
  return G_SOURCE_REMOVE;
}

// It may come yet.
gboolean CameraLink::givingUpDue(gpointer data) {
  auto* self = static_cast<CameraLink*>(data);
  self->tell(self->broken);
  self->callbacks.onLost();
  return G_SOURCE_REMOVE;
}

}  // namespace device::bridge
