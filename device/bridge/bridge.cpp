#include "bridge/bridge.h"

#include <chrono>
#include <exception>
#include <utility>

#include "base/units.h"
#include "bridge/told_parameters.h"
#include "onvif_client/camera_search.h"
#include "services/frame_encoding.h"

namespace device::bridge {

namespace {

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr std::int64_t HEAD_PERIOD = 10000;  // microseconds
constexpr guint RESTART_DELAY = 1000;        // milliseconds
constexpr int WARNING = 4;                   // of the system log
constexpr std::chrono::seconds SEARCH(4);
constexpr char RESTART_WANTED[] =
    "It is kept. Start the application again: until then the offset of a camera beside the head "
    "counts twice, or not at all";

}  // namespace

Bridge::Bridge(const BridgeOptions& options, SettingsFiles& files, const DevicePaths& paths,
               GDBusConnection* bus)
    : options(options),
      files(files),
      settings(files.getSettings()),
      paths(paths),
      connection(G_DBUS_CONNECTION(g_object_ref(bus))),
      start(g_get_monotonic_time()),
      console(options.quiet),
      monitor({.onState = [](const std::string&) {},
               .onSentreling = [](bool) {},
               .onAlarm = [](bool) {}}),
      events(bus),
      parameterStore(parametersOf(settings, options.usesModule)),
      ptz(bus, head, events),
      parameters(bus, parameterStore),
      remotePtz(bus, paths.ptzFolder, HeadParameters([this] { return head.parameters(); })),
      cameras([this](int channel, const Frame& one) { frame(channel, one); },
              [this](const std::string& name, const std::string& text) { announce(name, text); }),
      loop(g_main_loop_new(g_main_context_get_thread_default(), FALSE)) {
  offerLenses();
  offerFrames();
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
                 .announce = [this](const std::string& text) { console.message(text); },
                 .keepFollowing = [this](const std::string& way) { return keepFollowing(way); }});
  setUp.emplace(SetUp::Means{.files = files,
                             .changed = [this] { settingsChanged(); },
                             .holdHead = [this](bool isHeld) { head.hold(isHeld); },
                             .find = [] { return onvif::findCameras(SEARCH); },
                             .zoomTold = [this] { return head.zoomTold(); }});
  web->addAnswer("/api/setup", [this](const std::string& body) { return setUp->answer(body); });
  console.message("The page: " + web->url());
  startHead();
  cameras.take(settings.cameras, files.getCredentials());
}

void Bridge::startHead() {
  head.set(nullptr);  // the former one stops before another one comes to the same head
  headLogin = loginOf(files.getCredentials(), settings.head.address.login);
  if (settings.hasHead()) {
    head.set(std::make_unique<RemoteHead>(
        settings.head, headLogin, [this](const std::string& text) { announce("Head", text); }));
  }
}

// A name is given up before it is taken anew; so are sockets.
void Bridge::offerLenses() {
  lens.reset();
  lens.emplace(connection.get(), lensesOf(settings));
}

void Bridge::offerFrames() {
  const int count = static_cast<int>(settings.cameras.size());
  scenes.reset();
  scenes.emplace(paths.scenes, sceneHandshake, count);
  subscribers.reset();
  subscribers.emplace(paths.subscriber, subscriberHandshake, count);
}

// What the change does not concern goes on: who is followed, and the head that follows.
void Bridge::settingsChanged() {
  const BridgeSettings former = std::exchange(settings, files.getSettings());
  if (former.head != settings.head ||
      headLogin != loginOf(files.getCredentials(), settings.head.address.login)) {
    startHead();
  }
  cameras.take(settings.cameras, files.getCredentials());
  if (parametersOf(former, options.usesModule) != parametersOf(settings, options.usesModule)) {
    tellParameters();
  }
  if (!areLensesAlike(former, settings)) {
    offerLenses();
  }
  if (former.cameras.size() != settings.cameras.size()) {
    offerFrames();
  }
  if (!isToldAlike(former, settings)) {
    startOrRestartDaemon();
  }
}

// An application that others start takes the way as it runs, and at its start where the cameras
// are.
std::string Bridge::keepFollowing(const std::string& way) {
  const BridgeSettings former = settings;
  setUp->useFollowing(way);
  return options.daemon.empty() && !isToldAlike(former, settings) ? RESTART_WANTED : "";
}

// That somebody has asked for the head to be identified is no setting: any other text than before
// would ask for it anew.
void Bridge::tellParameters() {
  const std::string asked = parameterStore.get(IDENTIFY).value_or("");
  parameterStore = ParameterStore(parametersOf(settings, options.usesModule));
  parameterStore.set(IDENTIFY, asked);
}

void Bridge::startOrRestartDaemon() {
  if (options.daemon.empty()) {
    announce("Set-up", "The application takes this when it is started again");
  } else if (daemon && daemon->isRunning()) {
    isRestartWanted = true;
    daemon->terminate();
  } else if (!restart) {
    startDaemon();
  }
}

int Bridge::run() {
  const PeriodicTimer headTimer(HEAD_PERIOD, [this] { ptz.update(); });
  const PeriodicTimer status(SECOND, [this] { showStatus(); });
  std::optional<PeriodicTimer> end;
  if (options.duration > 0) {
    end.emplace(static_cast<std::int64_t>(options.duration * SECOND), [this] { stop(); });
  }
  if (options.daemon.empty()) {
    web->watchApplication();
  } else {
    startDaemon();
  }
  g_main_loop_run(loop.get());
  setUp->stopForGood();
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
  objects[channel] = static_cast<int>(frame.objects.size());
  const auto encode = [&frame](int mask) { return encodeFrame(frame, mask); };
  scenes->publish(channel, frame.timestamp, encode);
  subscribers->publish(channel, frame.timestamp, encode);
  web->frame(units::toSeconds(frame.timestamp - start), channel, frame);
}

void Bridge::showStatus() {
  const HeadStatus status = head.presentStatus();
  int sum = 0;
  for (const auto& [channel, count] : objects) {
    sum += count;
  }
  console.status({.time = secondsSinceStart(),
                  .state = monitor.getState(),
                  .target = std::nullopt,
                  .head = status,
                  .multiplier = status.magnification,
                  .objects = sum});
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

// Without head and camera it has nothing to do.
void Bridge::startDaemon() {
  if (const std::string missing = settings.whatIsMissing(); !missing.empty()) {
    return announce("Set-up", missing + ": " + web->url() + "setup.html");
  }
  daemon = std::make_unique<DaemonProcess>(std::vector<std::string>{options.daemon},
                                           [this](const DaemonEnd& end) { daemonEnded(end); });
  web->daemonRunning(true);
}

void Bridge::daemonEnded(const DaemonEnd& end) {
  web->daemonRunning(false);
  console.message("The daemon ended with " + describeWaitStatus(end.waitStatus));
  exitStatus = end.ok() ? 0 : 1;
  const bool isSetUpAnew = std::exchange(isRestartWanted, false) && !stopping;
  if (!isSetUpAnew && (end.asked || !options.restartDaemon)) {
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
    self->restart.reset();
    self->console.message("The daemon is started again");
    self->startDaemon();
  } catch (const std::exception& error) {
    self->console.message(error.what());
    g_main_loop_quit(self->loop.get());
  }
  return G_SOURCE_REMOVE;
}

}  // namespace device::bridge
