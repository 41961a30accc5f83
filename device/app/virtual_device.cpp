#include "app/virtual_device.h"

#include <cstdio>
#include <exception>
#include <limits>
#include <utility>

#include "services/frame_encoding.h"

namespace device {

namespace {

constexpr char kInterfaceVersion[] = "root.Properties.EmbeddedDevelopment.Version";
constexpr char kSocketVersion[] = "2.14";  // the last platform with the scene socket
constexpr char kModuleVersion[] = "2.16";
// From this version on frames come by the module.
constexpr int kModuleMajor = 2;
constexpr int kModuleMinor = 15;
constexpr std::int64_t kSecond = 1000000;    // microseconds
constexpr guint kRestartDelay = 1000;        // milliseconds
constexpr std::int64_t kHeadPeriod = 10000;  // microseconds

std::string transportOf(const Model& model) {
  const auto version = model.parameters.find(kInterfaceVersion);
  int major = 0;
  int minor = 0;
  if (version != model.parameters.end()) {
    std::sscanf(version->second.c_str(), "%d.%d", &major, &minor);
  }
  return std::pair(major, minor) < std::pair(kModuleMajor, kModuleMinor) ? "socket" : "module";
}

}  // namespace

VirtualDevice::VirtualDevice(Options options, const DevicePaths& paths, GDBusConnection* connection)
    : options_(std::move(options)),
      model_(loadModelOf(options_)),
      start_(g_get_monotonic_time()),
      console_(options_.quiet),
      report_(runInfo()),
      world_(model_.world, {.tracks = options_.tracks,
                            .asRecorded = options_.asRecorded,
                            .seed = options_.seed,
                            .scene = options_.scene}),
      drive_(model_.head, g_get_monotonic_time, options_.seed),
      parameterStore_(model_.parameters),
      objects_(model_.world.channels.size()),
      monitor_(monitorCallbacks()),
      events_(connection),
      ptz_(connection, drive_, events_),
      parameters_(connection, parameterStore_),
      remotePtz_(connection, paths.ptzFolder,
                 {model_.headParameters, [this] { return isHeadReady(); }}),
      lens_(connection, lenses()),
      scenes_(paths.scenes, sceneHandshake, world_.channelCount()),
      subscribers_(paths.subscriber, subscriberHandshake, world_.channelCount()),
      loop_(g_main_loop_new(g_main_context_get_thread_default(), FALSE), g_main_loop_unref) {
  if (options_.log) syslog_.emplace(paths.log, [this](const SyslogLine& line) { logLine(line); });
  events_.observe([this](const Event& event) { monitor_.handle(event); });
  if (options_.report) console_.openLog(*options_.report / "syslog.txt");
  web_ = std::make_unique<WebInterface>(options_.web, paths.application, webSources());
  console_.message("The page: " + web_->url());
}

int VirtualDevice::run() {
  const PeriodicTimer head(kHeadPeriod, [this] { stepHead(); });
  const PeriodicTimer frames(kSecond / options_.framesPerSecond, [this] { sendFrames(); });
  const PeriodicTimer status(kSecond, [this] { showStatus(); });
  std::optional<PeriodicTimer> end;
  if (options_.duration > 0) {
    end.emplace(static_cast<std::int64_t>(options_.duration * kSecond), [this] { stop(); });
  }
  if (!options_.daemon.empty()) startDaemon();
  g_main_loop_run(loop_.get());
  drainLog();
  writeReport();
  return exitStatus_;
}

void VirtualDevice::stop() {
  if (std::exchange(stopping_, true)) return;
  if (daemon_ && daemon_->isRunning()) {
    daemon_->terminate();
  } else {
    g_main_loop_quit(loop_.get());
  }
}

Model VirtualDevice::loadModelOf(const Options& options) {
  const bool isFile =
      options.model.find('/') != std::string::npos || options.model.ends_with(".json");
  Model model = isFile ? loadModel(options.model) : loadModel(options.models, options.model);
  if (!options.transport.empty()) {
    model.parameters[kInterfaceVersion] =
        options.transport == "socket" ? kSocketVersion : kModuleVersion;
  }
  if (options.headBoot) model.headBootSeconds = *options.headBoot;
  return model;
}

RunInfo VirtualDevice::runInfo() const {
  return {.model = model_.name,
          .tracks = options_.tracks ? options_.tracks->string() : "generated",
          .transport = transportOf(model_),
          .seed = options_.seed};
}

WebSources VirtualDevice::webSources() {
  return {.model = model_,
          .run = runInfo(),
          .world = world_,
          .drive = drive_,
          .events = events_,
          .seconds = [this] { return secondsSinceStart(); },
          .announce = [this](const std::string& text) { console_.message(text); }};
}

std::vector<Lens> VirtualDevice::lenses() const {
  std::vector<Lens> lenses;
  for (int channel = 0; channel < world_.channelCount(); ++channel) {
    const OverviewCamera& camera = world_.camera(channel);
    lenses.push_back({camera.horizontalFov(), camera.verticalFov(), camera.rotation()});
  }
  return lenses;
}

double VirtualDevice::secondsSinceStart() const {
  return static_cast<double>(g_get_monotonic_time() - start_) / kSecond;
}

bool VirtualDevice::isHeadReady() const {
  return secondsSinceStart() >= model_.headBootSeconds;
}

ApplicationMonitor::Callbacks VirtualDevice::monitorCallbacks() {
  return {
      .onState =
          [this](const std::string& state) { report_.trackerState(secondsSinceStart(), state); },
      .onSentreling = [this](bool active) { report_.sentreling(secondsSinceStart(), active); },
      .onAlarm =
          [this](bool active) {
            const double now = secondsSinceStart();
            active ? report_.alarmStarted(now) : report_.alarmEnded(now);
          }};
}

void VirtualDevice::stepHead() {
  ptz_.update();
  handOutFrames();
  sampleDue_ = !sampleDue_;
  if (!sampleDue_) return;
  const double now = secondsSinceStart();
  report_.sample(now, world_.people(now), drive_.head().status());
}

void VirtualDevice::sendFrames() {
  world_.followHead(drive_.head().status());
  for (int channel = 0; channel < world_.channelCount(); ++channel) {
    const std::int64_t time = g_get_monotonic_time();
    objects_[static_cast<std::size_t>(channel)] =
        world_.sendFrame(channel, static_cast<double>(time - start_) / kSecond, time);
  }
  handOutFrames();
}

void VirtualDevice::handOutFrames() {
  for (int channel = 0; channel < world_.channelCount(); ++channel) {
    for (const Frame& frame : world_.receivedFrames(channel, secondsSinceStart())) {
      const auto encode = [&frame](int mask) { return encodeFrame(frame, mask); };
      scenes_.publish(channel, frame.timestamp, encode);
      subscribers_.publish(channel, frame.timestamp, encode);
      report_.frameSent();
      web_->frame(static_cast<double>(frame.timestamp - start_) / kSecond, channel, frame);
    }
  }
}

void VirtualDevice::showStatus() {
  const HeadStatus head = drive_.head().status();
  int objects = 0;
  for (const int count : objects_) objects += count;
  console_.status({.time = secondsSinceStart(),
                   .state = monitor_.state(),
                   .target = target(head),
                   .head = head,
                   .multiplier = Head::multiplier(model_.head, head.zoom),
                   .objects = objects});
}

std::optional<Direction> VirtualDevice::target(const HeadStatus& head) const {
  std::optional<Direction> nearest;
  double least = std::numeric_limits<double>::infinity();
  for (const PersonView& person : world_.people(secondsSinceStart())) {
    const double distance = angleBetween(person.centre, {head.pan, head.tilt});
    if (!person.inside || distance >= least) continue;
    least = distance;
    nearest = person.centre;
  }
  return nearest;
}

void VirtualDevice::logLine(const SyslogLine& line) {
  const double now = secondsSinceStart();
  console_.log(now, line);
  web_->log(now, line);
}

void VirtualDevice::drainLog() {
  if (syslog_) syslog_->drain();
}

void VirtualDevice::startDaemon() {
  daemon_ = std::make_unique<DaemonProcess>(std::vector<std::string>{options_.daemon},
                                            [this](const DaemonEnd& end) { daemonEnded(end); });
  web_->daemonRunning(true);
}

void VirtualDevice::daemonEnded(const DaemonEnd& end) {
  web_->daemonRunning(false);
  drainLog();
  announceEnd(end);
  exitStatus_ = end.ok() ? 0 : 1;
  if (!end.asked && options_.restartDaemon) {
    restartLater();
  } else {
    g_main_loop_quit(loop_.get());
  }
}

void VirtualDevice::announceEnd(const DaemonEnd& end) {
  const std::string how = describeWaitStatus(end.waitStatus);
  if (!end.asked) {
    console_.message("The daemon ended by itself with " + how);
  } else if (end.killed) {
    console_.message("The daemon did not end within " +
                     std::to_string(DaemonProcess::kGraceSeconds) + " s and was killed");
  } else {
    console_.message("The daemon ended with " + how + " after " +
                     std::to_string(static_cast<int>(end.seconds * 1000)) + " ms");
  }
}

void VirtualDevice::restartLater() {
  restart_.reset(g_timeout_source_new(kRestartDelay));
  g_source_set_callback(restart_.get(), restartDue, this, nullptr);
  g_source_attach(restart_.get(), g_main_context_get_thread_default());
}

// Exceptions may not pass the main loop.
gboolean VirtualDevice::restartDue(gpointer data) {
  auto* self = static_cast<VirtualDevice*>(data);
  try {
    self->console_.message("The daemon is started again");
    self->startDaemon();
  } catch (const std::exception& error) {
    self->console_.message(error.what());
    g_main_loop_quit(self->loop_.get());
  }
  return G_SOURCE_REMOVE;
}

void VirtualDevice::writeReport() {
  if (!options_.report) return;
  const std::string problem = report_.write(*options_.report);
  if (!problem.empty()) console_.message(problem);
}

}  // namespace device
