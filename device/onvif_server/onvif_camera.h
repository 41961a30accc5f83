#ifndef DEVICE_ONVIF_SERVER_ONVIF_CAMERA_H
#define DEVICE_ONVIF_SERVER_ONVIF_CAMERA_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/model.h"
#include "onvif_server/analytics_operations.h"
#include "onvif_server/camera_profile.h"
#include "onvif_server/device_operations.h"
#include "onvif_server/discovery_responder.h"
#include "onvif_server/event_operations.h"
#include "onvif_server/faulty_reports.h"
#include "onvif_server/faulty_services.h"
#include "onvif_server/media_operations.h"
#include "onvif_server/onvif_faults.h"
#include "onvif_server/onvif_options.h"
#include "onvif_server/operations.h"
#include "onvif_server/ptz_operations.h"
#include "onvif_server/soap_server.h"
#include "rtsp/picture_streams.h"
#include "services/event_service.h"
#include "services/head_drive.h"
#include "services/periodic_timer.h"
#include "world/world.h"

namespace device::onvif {

// What the camera shows and moves; all of it outlives the camera.
struct OnvifSources {
  const Model& model;
  const World& world;
  HeadDrive& drive;
  EventService& events;
  std::function<double()> seconds;                   // since the device's start
  std::function<void(const std::string&)> announce;  // tells the user something
};

// The device as an ONVIF camera: one device with a profile for each picture. Used from the thread
// of the main loop only.
class OnvifCamera {
 public:
  // Of RTSP; a free one when it is taken, or when that of the services is to be any free one.
  static constexpr std::uint16_t STREAM_PORT = 8554;

  // A picture takes the main loop a while; whoever asks more often is given the same one.
  static constexpr double SHOT_PERIOD = 0.5;  // seconds

  // Throws std::runtime_error when it cannot listen, or for faults that there are not. Without
  // discovery it goes on, and says so.
  OnvifCamera(const OnvifOptions& options, OnvifSources given);
  OnvifCamera(const OnvifCamera&) = delete;
  OnvifCamera& operator=(const OnvifCamera&) = delete;

  std::uint16_t port() const { return server.port(); }

  // What the analytics of an overview camera (from 0) report, for the metadata streams.
  void frame(int channel, const Frame& frame);

  // What it does wrong from now on; nothing changes when it was started to do right. Throws
  // std::runtime_error for what there is not.
  void setFaults(const std::vector<std::string>& names);
  const OnvifFaults& getFaults() const { return faults; }

  // Of the device service: "http://127.0.0.1:8081/onvif/device_service".
  std::string url() const;

 private:
  struct Shot {
    double time = 0;
    std::string jpeg;
  };

  std::int64_t wallClock() const;
  SoapManners manners() const;
  void addOperations();
  std::optional<std::string> snapshot(const std::string& token);
  std::string paintedFor(const CameraProfile& profile) const;
  OverviewCamera cameraOf(const CameraProfile& profile) const;
  Things thingsBefore(const OverviewCamera& camera) const;
  StreamOptions streamOptions(const OnvifOptions& options) const;
  std::vector<StreamSetup> streamSetups() const;
  std::size_t streamCount() const;
  StreamScene sceneOf(const CameraProfile& profile) const;
  std::string streamUri(const CameraProfile& profile, const std::string& host) const;
  void tellStates();
  void tellPresent(std::size_t stream, PictureStreams::Readers* to);
  void tellHead();
  void tellEvents(const std::vector<Notification>& notifications);
  void synchronize(const CameraProfile& profile);
  void beFound();

  OnvifSources sources;
  std::vector<CameraProfile> profiles;  // the first ones are those of the streams, in their order
  std::map<std::string, Shot> shots;    // the last of each picture, by its name
  OnvifFaults faults;
  std::shared_ptr<StreamFaults> streamFaults;  // null: it does right for good
  Operations operations;
  SoapServer server;  // the services hold on to its requests, and so go before it
  PictureStreams streams;
  DeviceIdentity identity;
  DeviceOperations device;
  MediaOperations media;
  PtzOperations ptz;
  EventOperations events;
  AnalyticsOperations analytics;
  FaultyServices faultyServices;
  FaultyReports faultyReports{faults};
  std::map<std::size_t, PictureStreams::Readers> untold;  // by stream: the present state
  std::string toldHead;                // its status in the metadata told last, without the time
  PictureStreams::Readers toldHeadTo;  // those who know it
  std::int64_t toldHeadTime = 0;       // monotonic microseconds
  PeriodicTimer stateTimer;
  std::unique_ptr<DiscoveryResponder> discovery;
};

}  // namespace device::onvif

#endif
