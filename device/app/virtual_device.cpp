#include "app/virtual_device.h"

#include <cstdio>
#include <exception>
#include <limits>
#include <stdexcept>
#include <utility>

#include "base/units.h"
#include "model/installation.h"
#include "services/frame_encoding.h"
#include "web_server/json_values.h"
#include "web_server/live_json.h"

namespace device {

namespace {

constexpr char INTERFACE_VERSION[] = "root.Properties.EmbeddedDevelopment.Version";
constexpr char SOCKET_VERSION[] = "2.14";  // the last platform with the scene socket
constexpr char MODULE_VERSION[] = "2.16";
// From this version on frames come by the module.
constexpr int MODULE_MAJOR = 2;
constexpr int MODULE_MINOR = 15;
constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr guint RESTART_DELAY = 1000;          // milliseconds
constexpr std::int64_t HEAD_PERIOD = 10000;    // microseconds
constexpr std::int64_t SAMPLE_PERIOD = 50000;  // microseconds

std::string transportOf(const Model& model) {
  const auto version = model.parameters.find(INTERFACE_VERSION);
  int major = 0;
  int minor = 0;
  if (version != model.parameters.end()) {
    std::sscanf(version->second.c_str(), "%d.%d", &major, &minor);
  }
  return std::pair(major, minor) < std::pair(MODULE_MAJOR, MODULE_MINOR) ? "socket" : "module";
}

}  // namespace

VirtualDevice::VirtualDevice(Options given, const DevicePaths& paths, GDBusConnection* connection)
    : options(std::move(given)),
      model(loadModelOf(options)),
      start(g_get_monotonic_time()),
      console(options.quiet),
      report(runInfo(), {.score = scoreSetupOf(model),
                         .head = model.head,
                         .keepsSamples = options.report.has_value(),
                         .scoredFrom = options.scoreFrom}),
      world(model.world, {.tracks = options.tracks,
                          .asRecorded = options.asRecorded,
                          .seed = options.seed,
                          .scene = options.scene}),
      drive(model.head, g_get_monotonic_time, options.seed),
      parameterStore(model.parameters),
      objects(model.world.channels.size()),
      monitor(monitorCallbacks()),
      events(connection),
      ptz(connection, drive, events),
      parameters(connection, parameterStore),
      remotePtz(connection, paths.ptzFolder,
                {model.headParameters, [this] { return isHeadReady(); }}),
      lens(connection, lenses()),
      scenes(paths.scenes, sceneHandshake, world.channelCount()),
      subscribers(paths.subscriber, subscriberHandshake, world.channelCount()),
      loop(g_main_loop_new(g_main_context_get_thread_default(), FALSE)),
      sampler(world, report,
              [this](TruthSampler::Answered answered) { askForConfiguration(answered); }) {
  if (options.log) {
    syslog.emplace(paths.log, [this](const SyslogLine& line) { logLine(line); });
  }
  events.observe([this](const Event& event) { monitor.handle(event); });
  if (options.report) {
    console.openLog(*options.report / "syslog.txt");
  }
  web = std::make_unique<WebInterface>(options.web, paths.application, webSources());
  console.message("The page: " + web->url());
  takeSamples();
  offerOnvif();
}

int VirtualDevice::run() {
  const PeriodicTimer head(HEAD_PERIOD, [this] { stepHead(); });
  const PeriodicTimer frames(SECOND / options.framesPerSecond, [this] { sendFrames(); });
  const PeriodicTimer status(SECOND, [this] { showStatus(); });
  std::optional<PeriodicTimer> end;
  if (options.duration > 0) {
    end.emplace(static_cast<std::int64_t>(options.duration * SECOND), [this] { stop(); });
  }
  if (!options.daemon.empty()) {
    startDaemon();
  }
  g_main_loop_run(loop.get());
  drainLog();
  sampler.finish();
  writeReport();
  return exitStatus;
}

void VirtualDevice::stop() {
  if (std::exchange(stopping, true)) {
    return;
  }
  if (daemon && daemon->isRunning()) {
    daemon->terminate();
  } else {
    g_main_loop_quit(loop.get());
  }
}

Model VirtualDevice::loadModelOf(const Options& options) {
  const bool isFile =
      options.model.find('/') != std::string::npos || options.model.ends_with(".json");
  Model model = isFile ? loadModelFile(options.model, options.models)
                       : loadModel(options.models, options.model);
  if (!options.transport.empty()) {
    model.parameters[INTERFACE_VERSION] =
        options.transport == "socket" ? SOCKET_VERSION : MODULE_VERSION;
  }
  tellInstallation(model, options.following, options.seed);
  if (options.headBoot) {
    model.headBootSeconds = *options.headBoot;
  }
  return model;
}

RunInfo VirtualDevice::runInfo() const {
  return {.model = model.name,
          .tracks = options.tracks ? options.tracks->string() : "generated",
          .scene = options.scene.empty() ? model.world.scene : options.scene,
          .transport = transportOf(model),
          .seed = options.seed};
}

WebSources VirtualDevice::webSources() {
  return {.name = model.name,
          .cameras = static_cast<int>(model.world.channels.size()),
          .model = [this] { return modelJson(model, runInfo(), world); },
          .world =
              [this](double time) {
                return worldJson(time, world.people(time), model.world.mastHeight);
              },
          .people = [this](double time) { return world.people(time); },
          .head = drive,
          .events = events,
          .parameters = parameterStore,
          .seconds = [this] { return secondsSinceStart(); },
          .announce = [this](const std::string& text) { console.message(text); },
          .report = &report};
}

void VirtualDevice::offerOnvif() {
  if (!options.onvif) {
    return;
  }
  const auto announce = [this](const std::string& text) { console.message(text); };
  onvifCamera = std::make_unique<onvif::OnvifCamera>(
      *options.onvif, onvif::OnvifSources{model, world, drive, events,
                                          [this] { return secondsSinceStart(); }, announce});
  console.message("ONVIF: " + onvifCamera->url());
  if (options.onvif->faults) {
    web->addAnswer("/api/faults", [this](const std::string& body) { return setFaults(body); });
  }
}

// {"faults": ["head:no-stop"]}, all that there are to be from now on.
WebAnswer VirtualDevice::setFaults(const std::string& body) {
  const JsonAutoPtr request(json_loadb(body.data(), body.size(), 0, nullptr));
  std::vector<std::string> names;
  std::size_t index = 0;
  const json_t* name = nullptr;
  json_array_foreach(json_object_get(request.get(), "faults"), index, name) {
    names.emplace_back(json_is_string(name) ? json_string_value(name) : "");
  }
  try {
    if (!json_is_array(json_object_get(request.get(), "faults"))) {
      throw std::runtime_error("The body must be a JSON object with a list of faults");
    }
    onvifCamera->setFaults(names);
    return {SOUP_STATUS_OK, "{}\n"};
  } catch (const std::runtime_error& error) {
    const JsonAutoPtr refusal(
        json_pack("{s:{s:s, s:o}}", "error", "code", "HTTP", "message", jsonText(error.what())));
    return {SOUP_STATUS_BAD_REQUEST, lineOf(refusal.get())};
  }
}

std::vector<Lens> VirtualDevice::lenses() const {
  std::vector<Lens> lenses;
  for (int channel = 0; channel < world.channelCount(); ++channel) {
    const OverviewCamera& camera = world.camera(channel);
    lenses.push_back({camera.horizontalFov(), camera.verticalFov(), camera.rotation()});
  }
  return lenses;
}

double VirtualDevice::secondsSinceStart() const {
  return static_cast<double>(g_get_monotonic_time() - start) / SECOND;
}

bool VirtualDevice::isHeadReady() const {
  return secondsSinceStart() >= model.headBootSeconds;
}

ApplicationMonitor::Callbacks VirtualDevice::monitorCallbacks() {
  return {.onState =
              [this](const std::string& state) {
                report.trackerState(secondsSinceStart(), state);
                sampler.applicationSpoke();
              },
          .onSentreling = [this](bool active) { report.sentreling(secondsSinceStart(), active); },
          .onAlarm =
              [this](bool active) {
                const double now = secondsSinceStart();
                active ? report.alarmStarted(now) : report.alarmEnded(now);
              }};
}

void VirtualDevice::stepHead() {
  ptz.update();
  handOutFrames();
}

void VirtualDevice::takeSamples() {
  drive.observe(SAMPLE_PERIOD, [this](std::int64_t time, const Head& head) {
    sampler.sample(static_cast<double>(time - start) / SECOND, head.status());
  });
  ptz.observeCalls([this](HeadCall_e call, double seconds) { web->headCall(call, seconds); });
  web->observeRequests([this](const std::string& body) {
    if (body.find("setConfiguration") != std::string::npos) {
      sampler.configurationChanged();
    }
  });
}

void VirtualDevice::askForConfiguration(TruthSampler::Answered answered) {
  web->ask(R"({"apiVersion": "1.0", "method": "getConfiguration"})", std::move(answered));
}

void VirtualDevice::sendFrames() {
  world.followHead(drive.getHead().status());
  for (int channel = 0; channel < world.channelCount(); ++channel) {
    const std::int64_t time = g_get_monotonic_time();
    objects[static_cast<std::size_t>(channel)] =
        world.sendFrame(channel, static_cast<double>(time - start) / SECOND, time);
  }
  handOutFrames();
}

void VirtualDevice::handOutFrames() {
  for (int channel = 0; channel < world.channelCount(); ++channel) {
    for (const Frame& frame : world.receivedFrames(channel, secondsSinceStart())) {
      const auto encode = [&frame](int mask) { return encodeFrame(frame, mask); };
      scenes.publish(channel, frame.timestamp, encode);
      subscribers.publish(channel, frame.timestamp, encode);
      report.frameSent();
      web->frame(static_cast<double>(frame.timestamp - start) / SECOND, channel, frame);
      if (onvifCamera) {
        onvifCamera->frame(channel, frame);
      }
    }
  }
}

void VirtualDevice::showStatus() {
  if (!monitor.getState().empty()) {
    sampler.applicationSpoke();
  }
  const HeadStatus head = drive.getHead().status();
  int sum = 0;
  for (const int count : objects) {
    sum += count;
  }
  console.status({.time = secondsSinceStart(),
                  .state = monitor.getState(),
                  .target = target(head),
                  .head = head,
                  .multiplier = Head::multiplier(model.head, head.zoom),
                  .objects = sum});
}

std::optional<Direction> VirtualDevice::target(const HeadStatus& head) const {
  std::optional<Direction> nearest;
  double least = std::numeric_limits<double>::infinity();
  for (const PersonView& person : world.people(secondsSinceStart())) {
    const double distance = angleBetween(person.centre, {head.pan, head.tilt});
    if (!person.inside || distance >= least) {
      continue;
    }
    least = distance;
    nearest = person.centre;
  }
  return nearest;
}

void VirtualDevice::logLine(const SyslogLine& line) {
  const double now = secondsSinceStart();
  report.logLine(line.text);
  console.log(now, line);
  web->log(now, line);
}

void VirtualDevice::drainLog() {
  if (syslog) {
    syslog->drain();
  }
}

void VirtualDevice::startDaemon() {
  daemon = std::make_unique<DaemonProcess>(std::vector<std::string>{options.daemon},
                                           [this](const DaemonEnd& end) { daemonEnded(end); });
  web->daemonRunning(true);
}

void VirtualDevice::daemonEnded(const DaemonEnd& end) {
  web->daemonRunning(false);
  drainLog();
  announceEnd(end);
  exitStatus = end.ok() ? 0 : 1;
  if (!end.asked && options.restartDaemon) {
    restartLater();
  } else {
    g_main_loop_quit(loop.get());
  }
}

void VirtualDevice::announceEnd(const DaemonEnd& end) {
  const std::string how = describeWaitStatus(end.waitStatus);
  if (!end.asked) {
    console.message("The daemon ended by itself with " + how);
  } else if (end.killed) {
    console.message("The daemon did not end within " +
                    std::to_string(DaemonProcess::GRACE_SECONDS) + " s and was killed");
  } else {
    console.message("The daemon ended with " + how + " after " +
                    std::to_string(static_cast<int>(end.seconds * 1000)) + " ms");
  }
}

void VirtualDevice::restartLater() {
  restart = startTimer(RESTART_DELAY, restartDue, this);
}

// Exceptions may not pass the main loop.
gboolean VirtualDevice::restartDue(gpointer data) {
  auto* self = static_cast<VirtualDevice*>(data);
  try {
    self->console.message("The daemon is started again");
    self->startDaemon();
  } catch (const std::exception& error) {
    self->console.message(error.what());
    g_main_loop_quit(self->loop.get());
  }
  return G_SOURCE_REMOVE;
}

void VirtualDevice::writeReport() {
  if (!options.report) {
    return;
  }
  const std::string problem = report.write(*options.report);
  if (!problem.empty()) {
    console.message(problem);
  }
}

}  // namespace device
