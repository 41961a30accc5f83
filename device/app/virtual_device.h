#ifndef DEVICE_APP_VIRTUAL_DEVICE_H
#define DEVICE_APP_VIRTUAL_DEVICE_H

#include <gio/gio.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/options.h"
#include "app/truth_sampler.h"
#include "model/model.h"
#include "onvif_server/onvif_camera.h"
#include "report/report.h"
#include "services/application_monitor.h"
#include "services/console.h"
#include "services/daemon_process.h"
#include "services/device_paths.h"
#include "services/event_service.h"
#include "services/frame_server.h"
#include "services/head_drive.h"
#include "services/lens_service.h"
#include "services/parameter_service.h"
#include "services/parameter_store.h"
#include "services/periodic_timer.h"
#include "services/ptz_service.h"
#include "services/remote_ptz_service.h"
#include "services/syslog_server.h"
#include "web_server/web_interface.h"
#include "world/world.h"

namespace device {

// All that a camera has beside the application, in one thread: the services on the bus, the head,
// the world in front of the lenses, the system log and the platform that starts and ends the
// application.
class VirtualDevice {
 public:
  // Offers everything. Throws std::runtime_error (ModelError and TrackError are such).
  VirtualDevice(Options given, const DevicePaths& paths, GDBusConnection* connection);
  VirtualDevice(const VirtualDevice&) = delete;
  VirtualDevice& operator=(const VirtualDevice&) = delete;

  // Starts the application and lives until stop(), the duration's end or the application's, which
  // may be started again instead; then writes the report. Returns the process' exit status: 0 when
  // the application, if there is one, ended as it was told to.
  int run();

  // Ends the application, then the device. Again is ignored.
  void stop();

 private:
  static Model loadModelOf(const Options& options);
  RunInfo runInfo() const;
  WebSources webSources();
  void offerOnvif();
  WebAnswer setFaults(const std::string& body);
  std::vector<Lens> lenses() const;
  double secondsSinceStart() const;
  bool isHeadReady() const;
  ApplicationMonitor::Callbacks monitorCallbacks();

  void stepHead();
  void takeSamples();
  void askForConfiguration(TruthSampler::Answered answered);
  void sendFrames();
  void handOutFrames();
  void showStatus();
  void logLine(const SyslogLine& line);
  void drainLog();
  std::optional<Direction> target(const HeadStatus& head) const;
  // Throws std::runtime_error when it cannot be started.
  void startDaemon();
  void daemonEnded(const DaemonEnd& end);
  void announceEnd(const DaemonEnd& end);
  void restartLater();
  static gboolean restartDue(gpointer self);
  void writeReport();

  Options options;
  Model model;
  std::int64_t start;  // monotonic microseconds
  Console console;
  Report report;
  World world;
  HeadDrive drive;
  ParameterStore parameterStore;
  std::vector<int> objects;  // in the last frame of each channel
  int exitStatus = 0;
  bool stopping = false;

  ApplicationMonitor monitor;
  std::optional<SyslogServer> syslog;
  EventService events;
  PtzService ptz;
  ParameterService parameters;
  RemotePtzService remotePtz;
  LensService lens;
  FrameServer scenes;
  FrameServer subscribers;

  GMainLoopPtr loop;
  std::unique_ptr<DaemonProcess> daemon;
  GSourcePtr restart;
  TruthSampler sampler;
  std::unique_ptr<WebInterface> web;  // ends before the sampler, to whom it answers
  std::unique_ptr<onvif::OnvifCamera> onvifCamera;
};

}  // namespace device

#endif
