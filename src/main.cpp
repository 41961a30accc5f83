// The daemon: builds everything in order, waits for SIGTERM and takes everything down in reverse.
// All work happens on the threads of what it builds.
#include <glib.h>
#include <ovhttp.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>

#include "addon/libs/vigil_pack_lib/factory/tracker_default_config_creator.h"
#include "app/api_version_handler.h"
#include "app/daemonize.h"
#include "app/interval_timer_observable.h"
#include "app/lock_order.h"
#include "app/memory_lease.h"
#include "base/json_text.h"
#include "base/mutex.h"
#include "camera/camera_container.h"
#include "camera/camera_container_factory.h"
#include "camera/configuration_parser.h"
#include "cgi/cgi_callback.h"
#include "cgi/tracker_cgi_handler.h"
#include "config/constants.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "config/persistent_config_handler.h"
#include "events/sdk_wrapper.h"
#include "scene/scene_properties.h"
#include "tracker/tracker.h"
#include "tracker/tracker_guard_factory.h"

namespace {

constexpr int TIMER_TICK = 10000;  // microseconds
constexpr unsigned PROPERTY_MASK = SCENE_POLYGON | SCENE_VELOCITY | SCENE_CONFIDENCE;
constexpr std::array API_VERSIONS{constants::API_VERSION_1_0};

// Held by the main thread for the life of the process, except while it waits.
Mutex s_applicationMutex ACQUIRED_BEFORE(lock_order::APPLICATION);
bool s_run GUARDED_BY(s_applicationMutex) = true;

// Never destroyed: signals may come until the process has ended.
Condition& s_stopCondition = *new Condition;

// Set once, when there is something to take down in order.
std::atomic<bool> s_isContainerCreated{false};

const API_VersionHandler VERSION_HANDLER(API_VERSIONS.data(), API_VERSIONS.size());
const DataBoundaries BOUNDARIES;
const DefaultValues DEFAULTS;

using Parser = ConfigurationParser<TrackerGuardFactory>;

// ---- Termination ----

// Runs on the signal thread only, where locking is legal.
void handleTermination(int) {
  if (!s_isContainerCreated) {
    _exit(EXIT_FAILURE);
  }
  const LockGuard lock(s_applicationMutex);
  if (!s_isContainerCreated) {
    _exit(EXIT_FAILURE);
  }
  s_run = false;
  s_stopCondition.notifyAll();
}

sigset_t terminationSignal() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  return set;
}

gpointer waitForSignals(gpointer) {
  const sigset_t set = terminationSignal();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  while (true) {
    pause();
  }
  return nullptr;
}

// SIGTERM is delivered to a thread of its own: the handler takes the application mutex, which the
// main thread holds.
void installTerminationHandler() {
  const sigset_t set = terminationSignal();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  struct sigaction action {};
  action.sa_handler = handleTermination;
  sigemptyset(&action.sa_mask);
  if (sigaction(SIGTERM, &action, nullptr) != 0) {
    syslog(LOG_ERR, "Signal handler could not be set up, error: %d\n", errno);
  }
  g_thread_unref(g_thread_new(nullptr, waitForSignals, nullptr));
}

// ---- Configuration ----

// Stores a default document and returns its text.
std::string createDefaultConfiguration() {
  const JsonAutoPtr document = TrackerDefaultConfigCreator(false).create(
      DEFAULTS, VERSION_HANDLER.getHighestSupportedVersion().toString());
  PersistentConfigHandler::save(document.get(), constants::CONFIGURATION_PATH);
  return toText(document.get(), JSON_REAL_PRECISION(4));
}

// A document that does not parse leaves the cameras without configuration; the API can set one.
void loadConfiguration(CameraContainer& container) {
  const MemoryLease lease;
  std::string text = PersistentConfigHandler::load(constants::CONFIGURATION_PATH);
  const bool isStored = !text.empty();
  if (!isStored) {
    text = createDefaultConfiguration();
  }
  Parser parser;
  if (parser.parse(text, BOUNDARIES) == 0) {
    container.updateWithNewConfiguration(parser.createConfigurations());
  } else if (isStored) {
    PersistentConfigHandler::keepAside(constants::CONFIGURATION_PATH);
  }
}

std::unique_ptr<CameraContainer> createCameraContainer(const API_VersionHandler& versionHandler) {
  auto container = CameraContainerFactory::create(versionHandler, PROPERTY_MASK);
  s_isContainerCreated = true;
  return container;
}

void waitForTermination() REQUIRES(s_applicationMutex) {
  while (s_run) {
    s_stopCondition.wait(s_applicationMutex);
  }
}

}  // namespace

int main() {
  utils::daemonize(constants::APP_NAME);
  utils::giveLargeBlocksBack();
  const LockGuard lock(s_applicationMutex);
  openlog(constants::APP_NAME, LOG_NDELAY, LOG_USER);
  installTerminationHandler();
  IntervalTimerObservable::initialize(TIMER_TICK);
  sdk_wrapper_init(constants::APP_NAME, constants::APP_NAME, constants::APP_CLASS);
  const API_VersionHandler sceneVersionHandler(API_VERSIONS.data(), API_VERSIONS.size());
  std::unique_ptr<CameraContainer> container = createCameraContainer(sceneVersionHandler);
  if (CameraContainer::isEmpty()) {
    loadConfiguration(*container);
  }
  Parser parser;
  Tracker& tracker = Tracker::getInstance();
  TrackerCGI_Handler cgiHandler(*container, VERSION_HANDLER, constants::CONFIGURATION_PATH,
                                BOUNDARIES, DEFAULTS, parser, tracker);
  OVHttpHandler* httpHandler =
      ov_http_handler_new(&CGI_Callback::handle, static_cast<CGI_Handler*>(&cgiHandler));

  waitForTermination();

  CGI_Callback::shutDown();
  if (httpHandler != nullptr) {
    ov_http_handler_free(httpHandler);
  }
  container->shutDown();
  container.reset();
  Tracker::releaseInstance();
  sdk_wrapper_cleanup();
  IntervalTimerObservable::deinitialize();
  closelog();
  return EXIT_SUCCESS;
}
