#ifndef DEVICE_BRIDGE_CAMERA_LINK_H
#define DEVICE_BRIDGE_CAMERA_LINK_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/glib_ptr.h"
#include "bridge/bridge_settings.h"
#include "bridge/growing_pause.h"
#include "onvif_client/camera_calls.h"
#include "onvif_client/camera_facts.h"
#include "onvif_client/metadata_stream.h"

namespace device::bridge {

// Tells the user something of a camera; once for each change, not for each attempt.
using Announce = std::function<void(const std::string& text)>;

// What was found at a camera.
struct CameraFound {
  onvif::CameraIdentity identity;
  onvif::ServiceAddresses services;
  onvif::MediaProfile profile;

  bool operator==(const CameraFound&) const = default;
};

// The way to one camera: finds out what it has, keeps its metadata coming, and begins anew with
// growing pauses after whatever goes wrong. Some cameras close a stream every few seconds: one that
// has lived is opened again at once, and if something comes in time nobody is told. Of a head that
// answers the stream alone is tried again; where it knows its profile no more it is looked at anew,
// and found when it is not as it was. In the main loop of its thread.
class CameraLink {
 public:
  struct Callbacks {
    std::function<void(const CameraFound& found)> onFound;
    std::function<void(const onvif::MetadataArrival& arrival)> onMetadata;
    std::function<void()> onLost;  // the metadata, for a while; may come twice
    Announce announce;
  };

  // Of a stream that breaks, in microseconds.
  struct Patience {
    std::int64_t lived = 1000000;   // since it told something first: is opened again at once
    std::int64_t inTime = 1000000;  // for what it tells then; as for objects that are missing
  };

  // isHead: the profile has to have a PTZ configuration; else a source and analytics. Throws
  // std::runtime_error for what is no address.
  CameraLink(const CameraAddress& address, const onvif::Login& login, bool isHead,
             bool wantsMetadata, Callbacks callbacks);
  CameraLink(const CameraAddress& address, const onvif::Login& login, bool isHead,
             bool wantsMetadata, Callbacks callbacks, const Patience& patience);
  CameraLink(const CameraLink&) = delete;
  CameraLink& operator=(const CameraLink&) = delete;
  ~CameraLink();

  onvif::CameraCalls& getCalls() { return calls; }
  const std::optional<CameraFound>& getFound() const { return found; }

 private:
  using Next = void (CameraLink::*)(const std::optional<onvif::XmlElement>&);

  void begin();
  void ask(const std::string& service, onvif::Tag operation, Next next);
  void servicesCame(const std::optional<onvif::XmlElement>& response);
  void capabilitiesCame(const std::optional<onvif::XmlElement>& response);
  void askIdentity();
  void identityCame(const std::optional<onvif::XmlElement>& response);
  void profilesCame(const std::optional<onvif::XmlElement>& response);
  void prepareMetadata();
  void askForStream();
  void streamCame(const std::optional<onvif::XmlElement>& response);
  void openStream();
  void metadataCame(const onvif::MetadataArrival& arrival);
  void streamBroke(const std::string& words);
  void succeeded();
  void streamFailed(const std::string& words);
  void streamRefused(const onvif::Failure& failure);
  void failed(const std::string& words);
  void tell(const std::string& words);
  bool usesMedia2() const;
  static gboolean retryDue(gpointer self);
  static gboolean reopeningDue(gpointer self);
  static gboolean givingUpDue(gpointer self);

  CameraAddress address;
  onvif::Login login;
  bool isHead;
  bool wantsMetadata;
  Callbacks callbacks;
  Patience patience;
  onvif::CameraCalls calls;
  CameraFound finding;
  std::optional<CameraFound> found;
  std::string streamUri;
  std::unique_ptr<onvif::MetadataStream> stream;
  std::optional<std::int64_t> firstCame;  // of this stream's metadata, monotonic microseconds
  std::string broken;                     // what happened to a stream that is being opened again
  GSourcePtr reopening;
  GSourcePtr giveUp;  // a stream that is being opened again
  GrowingPause pause;
  GSourcePtr retry;
  bool isStreamAlone = false;     // what is to be tried again
  bool isProfileInDoubt = false;  // whoever is looked at may be as it was
  std::string told;               // the trouble that was told last
};

}  // namespace device::bridge

#endif
