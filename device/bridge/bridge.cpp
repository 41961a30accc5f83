#include "bridge/bridge.h"

#include <exception>
#include <utility>

#include "base/units.h"
#include "bridge/told_parameters.h"
#include "services/frame_encoding.h"

namespace device::bridge {

namespace {

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr std::int64_t HEAD_PERIOD = 10000;  // microseconds
constexpr guint RESTART_DELAY = 1000;        // milliseconds
constexpr int WARNING = 4;                   // of the system log

}  // namespace

Bridge::Bridge(const BridgeOptions& options, BridgeSettings given, const Credentials& credentials,
               const DevicePaths& paths, GDBusConnection* connection)
    : options(options),
      settings(std::move(given)),
      start(g_get_monotonic_time()),
      console(options.quiet),
      monitor({.onState = [](const std::string&) {},
               .onSentreling = [](bool) {},
               .onAlarm = [](bool) {}}),
      events(connection),
      head(settings.head, loginOf(credentials, settings.head.address.login),
           [this](const std::string& text) { announce("Head", text); }),
      parameterStore(parametersOf(settings, options.usesModule)),
      ptz(connection, head, events),
      parameters(connection, parameterStore),
      remotePtz(connection, paths.ptzFolder, HeadParameters([this] { return head.parameters(); })),
      lens(connection, lensesOf(settings)),
      scenes(paths.scenes, sceneHandshake, static_cast<int>(settings.cameras.size())),
      subscribers(paths.subscriber, subscriberHandshake, static_cast<int>(settings.cameras.size())),
      loop(g_main_loop_new(g_main_context_get_thread_default(), FALSE)) {
  if (options.log) {
    syslog.emplace(paths.log, [this](const SyslogLine& line) { logLine(line); });
  }
  events.observe([this](const Event& event) { monitor.handle(event); });
  web = std::make_unique<WebInterface>(
      options.web, paths.application,
      WebSources{.name = settings.head.product,
                 .cameras = static_cast<int>(settings.cameras.size()),
                 .model = [this] { return modelJsonOf(settings, settings.head.product); },
                 .world = nullptr,
                 .people = nullptr,
                 .head = head,
                 .events = events,
                 .parameters = parameterStore,
                 .seconds = [this] { return secondsSinceStart(); },
                 .announce = [this](const std::string& text) { console.message(text); }});
  console.message("The page: " + web->url());
  startCameras(credentials);
}

void Bridge::startCameras(const Credentials& credentials) {
  int channel = 0;
  for (const OverviewSettings& camera : settings.cameras) {
    cameras.emplace_back(
        camera, loginOf(credentials, camera.address.login),
        [this, channel](const Frame& one) { frame(channel, one); },
        [this, name = camera.name](const std::string& text) { announce(name, text); });
    ++channel;
  }
}

int Bridge::run() {
  const PeriodicTimer headTimer(HEAD_PERIOD, [this] { ptz.update(); });
  const PeriodicTimer status(SECOND, [this] { showStatus(); });
  std::optional<PeriodicTimer> end;
  if (options.duration > 0) {
    end.emplace(static_cast<std::int64_t>(options.duration * SECOND), [this] { stop(); });
  }
  if (!options.daemon.empty()) {
    startDaemon();
  }
  g_main_loop_run(loop.get());
  head.stopForGood();
  if (syslog) {
    syslog->drain();
  }
  return exitStatus;
}

void Bridge::stop() {
  if (std::exchange(stopping, true)) {
    return;
  }
  if (daemon && daemon->isRunning()) {
    daemon->terminate();
  } else {
    g_main_loop_quit(loop.get());
  }
}

void Bridge::frame(int channel, const Frame& frame) {
  objects = static_cast<int>(frame.objects.size());
  const auto encode = [&frame](int mask) { return encodeFrame(frame, mask); };
  scenes.publish(channel, frame.timestamp, encode);
  subscribers.publish(channel, frame.timestamp, encode);
  web->frame(units::toSeconds(frame.timestamp - start), channel, frame);
}

void Bridge::showStatus() {
  const HeadStatus status = head.presentStatus();
  console.status({.time = secondsSinceStart(),
                  .state = monitor.getState(),
                  .target = std::nullopt,
                  .head = status,
                  .multiplier = status.magnification,
                  .objects = objects});
}

void Bridge::logLine(const SyslogLine& line) {
  const double now = secondsSinceStart();
  console.log(now, line);
  web->log(now, line);
}

// On the page as well as in the log.
void Bridge::announce(const std::string& who, const std::string& text) {
  const std::string words = who + ": " + text;
  console.message(words);
  if (web) {
    web->log(secondsSinceStart(), {.severity = WARNING, .ident = "bridge", .text = words});
  }
}

double Bridge::secondsSinceStart() const {
  return units::toSeconds(g_get_monotonic_time() - start);
}

void Bridge::startDaemon() {
  daemon = std::make_unique<DaemonProcess>(std::vector<std::string>{options.daemon},
                                           [this](const DaemonEnd& end) { daemonEnded(end); });
  web->daemonRunning(true);
}

void Bridge::daemonEnded(const DaemonEnd& end) {
  web->daemonRunning(false);
  console.message("The daemon ended with " + describeWaitStatus(end.waitStatus));
  exitStatus = end.ok() ? 0 : 1;
  if (end.asked || !options.restartDaemon) {
    g_main_loop_quit(loop.get());
    return;
  }
  restart.reset(g_timeout_source_new(RESTART_DELAY));
  g_source_set_callback(restart.get(), restartDue, this, nullptr);
  g_source_attach(restart.get(), g_main_context_get_thread_default());
}

// Exceptions may not pass the main loop.
gboolean Bridge::restartDue(gpointer data) {
  auto* self = static_cast<Bridge*>(data);
  try {
    self->console.message("The daemon is started again");
    self->startDaemon();
  } catch (const std::exception& error) {
    self->console.message(error.what());
    g_main_loop_quit(self->loop.get());
  }
  return G_SOURCE_REMOVE;
}

}  // namespace device::bridge
