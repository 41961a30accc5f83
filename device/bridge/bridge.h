#ifndef DEVICE_BRIDGE_BRIDGE_H
#define DEVICE_BRIDGE_BRIDGE_H

#include <gio/gio.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "bridge/bridge_options.h"
#include "bridge/bridge_settings.h"
#include "bridge/head_switch.h"
#include "bridge/overview_cameras.h"
#include "bridge/set_up.h"
#include "bridge/settings_files.h"
#include "services/application_monitor.h"
#include "services/console.h"
#include "services/daemon_process.h"
#include "services/device_paths.h"
#include "services/event_service.h"
#include "services/frame_server.h"
#include "services/lens_service.h"
#include "services/parameter_service.h"
#include "services/parameter_store.h"
#include "services/periodic_timer.h"
#include "services/ptz_service.h"
#include "services/remote_ptz_service.h"
#include "services/syslog_server.h"
#include "web_server/web_interface.h"

namespace device::bridge {

// A device for the application that consists of cameras of others: the same services, with a head
// and overview cameras behind them that speak ONVIF. In one thread.
class Bridge {
 public:
  // Offers everything; cameras may be away, or not set up. The files outlive it. Throws
  // std::runtime_error.
  Bridge(const BridgeOptions& options, SettingsFiles& files, const DevicePaths& paths,
         GDBusConnection* connection);
  Bridge(const Bridge&) = delete;
  Bridge& operator=(const Bridge&) = delete;

  // Starts the application as soon as head and cameras are set up, and lives until stop(), the
  // duration's end or the application's, which may be started again instead; the head stands then.
  // Returns the process' exit status: 0 when the application, if there is one, ended as it was told
  // to.
  int run();

  // Ends the application, then the bridge. Again is ignored.
  void stop();

  // Of the page.
  std::string url() const { return web->url(); }

 private:
  void startHead();
  void offerLenses();
  void offerFrames();
  void settingsChanged();
  void tellParameters();
  std::string keepFollowing(const std::string& way);
  void startOrRestartDaemon();
  void frame(int channel, const Frame& frame);
  void showStatus();
  void logLine(const SyslogLine& line);
  void announce(const std::string& who, const std::string& text);
  double secondsSinceStart() const;
  void startDaemon();
  void daemonEnded(const DaemonEnd& end);
  static gboolean restartDue(gpointer self);

  BridgeOptions options;
  SettingsFiles& files;
  BridgeSettings settings;  // that are at work
  onvif::Login headLogin;   // likewise
  DevicePaths paths;
  GObjectPtr<GDBusConnection> connection;
  std::int64_t start;  // monotonic microseconds
  Console console;
  int exitStatus = 0;
  bool stopping = false;
  bool isRestartWanted = false;  // of the application, which reads much at its start only
  std::map<int, int> objects;    // in the last frame of each channel
  ApplicationMonitor monitor;
  std::optional<SyslogServer> syslog;
  EventService events;
  std::unique_ptr<WebInterface> web;
  HeadSwitch head;
  ParameterStore parameterStore;
  PtzService ptz;
  ParameterService parameters;
  RemotePtzService remotePtz;
  std::optional<LensService> lens;
  std::optional<FrameServer> scenes;
  std::optional<FrameServer> subscribers;
  OverviewCameras cameras;
  std::optional<SetUp> setUp;
  GMainLoopPtr loop;
  std::unique_ptr<DaemonProcess> daemon;
  GSourcePtr restart;
};

}  // namespace device::bridge

#endif
