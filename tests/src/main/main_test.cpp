// The daemon's own main(), on fake services: each step of its start and of its end is noted in one
// journal on its way to what really does it (see the wrapped names in CMakeLists.txt).
#include <gtest/gtest.h>
#include <ovhttp.h>
#include <signal.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "app/interval_timer_observable.h"
#include "camera/camera_container_factory.h"
#include "cgi/cgi_callback.h"
#include "config/constants.h"
#include "config/persistent.h"
#include "config/persistent_config_handler.h"
#include "events/sdk_wrapper.h"
#include "src/camera/test_camera.h"
#include "support/temporary_folder.h"
#include "tracker/tracker.h"

// src/main.cpp's, under the name that it has in this program.
int sentrelMain();

namespace {

constexpr const char* SERVING = "HTTP handler registered";

Notes s_journal;

// A container without transports.
class JournalContainer : public CameraContainer {
 public:
  using CameraContainer::CameraContainer;
  ~JournalContainer() override { s_journal.add("container destroyed"); }

 protected:
  void createCamera(int cameraNbr, int, const API_VersionHandler&, int) override {
    s_journal.add("camera " + std::to_string(cameraNbr) + " created");
  }
  void shutDownSub() override { s_journal.add("container shut down"); }
};

}  // namespace

// ---- The steps ----

#define REAL(name) asm("__real_" name)
#define WRAP(name) asm("__wrap_" name)
#define TEXT "RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"

#define DAEMONIZE "_ZN5utils9daemonizeE" TEXT
void noteDaemonize(const std::string& name) WRAP(DAEMONIZE);
void noteDaemonize(const std::string& name) {
  s_journal.add("daemonized " + name);
}

#define GIVE_LARGE_BLOCKS_BACK "_ZN5utils19giveLargeBlocksBackEv"
void realGiveLargeBlocksBack() REAL(GIVE_LARGE_BLOCKS_BACK);
void noteGiveLargeBlocksBack() WRAP(GIVE_LARGE_BLOCKS_BACK);
void noteGiveLargeBlocksBack() {
  s_journal.add("large blocks given back");
  realGiveLargeBlocksBack();
}

void realOpenlog(const char* name, int options, int facility) REAL("openlog");
void noteOpenlog(const char* name, int options, int facility) WRAP("openlog");
void noteOpenlog(const char* name, int options, int facility) {
  const bool isAsked = options == LOG_NDELAY && facility == LOG_USER;
  s_journal.add(std::string("log opened ") + name + (isAsked ? "" : " otherwise"));
  realOpenlog(name, options, facility);
}

void realCloselog() REAL("closelog");
void noteCloselog() WRAP("closelog");
void noteCloselog() {
  s_journal.add("log closed");
  realCloselog();
}

int realSigaction(int number, const struct sigaction* action, struct sigaction* old)
    REAL("sigaction");
int noteSigaction(int number, const struct sigaction* action, struct sigaction* old)
    WRAP("sigaction");
int noteSigaction(int number, const struct sigaction* action, struct sigaction* old) {
  s_journal.add(number == SIGTERM ? "SIGTERM handled" : "another signal handled");
  return realSigaction(number, action, old);
}

#define TIMER_INITIALIZE "_ZN23IntervalTimerObservable10initializeEi"
void realTimerInitialize(int tick) REAL(TIMER_INITIALIZE);
void noteTimerInitialize(int tick) WRAP(TIMER_INITIALIZE);
void noteTimerInitialize(int tick) {
  s_journal.add("timer initialized " + std::to_string(tick));
  realTimerInitialize(tick);
}

#define TIMER_DEINITIALIZE "_ZN23IntervalTimerObservable12deinitializeEv"
void realTimerDeinitialize() REAL(TIMER_DEINITIALIZE);
void noteTimerDeinitialize() WRAP(TIMER_DEINITIALIZE);
void noteTimerDeinitialize() {
  s_journal.add("timer deinitialized");
  realTimerDeinitialize();
}

#define WRAPPER_INIT "_Z16sdk_wrapper_init" TEXT "S6_S6_"
void realWrapperInit(const std::string& name, const std::string& id, const std::string& kind)
    REAL(WRAPPER_INIT);
void noteWrapperInit(const std::string& name, const std::string& id, const std::string& kind)
    WRAP(WRAPPER_INIT);
void noteWrapperInit(const std::string& name, const std::string& id, const std::string& kind) {
  s_journal.add("platform wrapper initialized " + name + " " + id + " " + kind);
  realWrapperInit(name, id, kind);
}

#define WRAPPER_CLEANUP "_Z19sdk_wrapper_cleanupv"
void realWrapperCleanup() REAL(WRAPPER_CLEANUP);
void noteWrapperCleanup() WRAP(WRAPPER_CLEANUP);
void noteWrapperCleanup() {
  s_journal.add("platform wrapper cleaned up");
  realWrapperCleanup();
}

#define CONTAINER_CREATE "_ZN22CameraContainerFactory6createERK18API_VersionHandlerj"
std::unique_ptr<CameraContainer> noteCreate(const API_VersionHandler& versions, unsigned int mask)
    WRAP(CONTAINER_CREATE);
std::unique_ptr<CameraContainer> noteCreate(const API_VersionHandler& versions, unsigned int mask) {
  s_journal.add("container created " + versions.toString() + " " + std::to_string(mask));
  return std::make_unique<JournalContainer>(versions, static_cast<std::int32_t>(mask));
}

// Without profiles, whose guards would hold the tracker.
#define CONFIGURATION_LOAD "_ZN23PersistentConfigHandler4loadE" TEXT
std::string noteLoad(const std::string& path) WRAP(CONFIGURATION_LOAD);
std::string noteLoad(const std::string& path) {
  s_journal.add("loaded " + path);
  return R"({"params": {"cameras": [{"id": 1, "active": true, "rotation": 0}], "profiles": []}})";
}

#define TRACKER_GET "_ZN7Tracker11getInstanceEv"
Tracker& realGetTracker() REAL(TRACKER_GET);
Tracker& noteGetTracker() WRAP(TRACKER_GET);
Tracker& noteGetTracker() {
  s_journal.add("tracker obtained");
  return realGetTracker();
}

#define TRACKER_RELEASE "_ZN7Tracker15releaseInstanceEv"
void realReleaseTracker() REAL(TRACKER_RELEASE);
void noteReleaseTracker() WRAP(TRACKER_RELEASE);
void noteReleaseTracker() {
  s_journal.add("tracker released");
  realReleaseTracker();
}

OVHttpHandler* realHandlerNew(OVHttpCallback callback, void* data) REAL("ov_http_handler_new");
OVHttpHandler* noteHandlerNew(OVHttpCallback callback, void* data) WRAP("ov_http_handler_new");
OVHttpHandler* noteHandlerNew(OVHttpCallback callback, void* data) {
  OVHttpHandler* handler = realHandlerNew(callback, data);
  s_journal.add(callback == &CGI_Callback::handle ? SERVING : "another callback registered");
  return handler;
}

void realHandlerFree(OVHttpHandler* handler) REAL("ov_http_handler_free");
void noteHandlerFree(OVHttpHandler* handler) WRAP("ov_http_handler_free");
void noteHandlerFree(OVHttpHandler* handler) {
  s_journal.add("HTTP handler freed");
  realHandlerFree(handler);
}

#define CALLBACK_SHUT_DOWN "_ZN12CGI_Callback8shutDownEv"
void realCallbackShutDown() REAL(CALLBACK_SHUT_DOWN);
void noteCallbackShutDown() WRAP(CALLBACK_SHUT_DOWN);
void noteCallbackShutDown() {
  s_journal.add("callback shut down");
  realCallbackShutDown();
}

// ---- The tests ----

namespace {

using Steps = std::vector<std::string>;

// The daemon starts and ends once for all tests.
class MainTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    const TemporaryFolder folder;
    Persistent::setPathForTest(folder.path("settings.json"));
    std::jthread user(endWhenServing);
    s_status = sentrelMain();
    user.join();
    const Steps steps = s_journal.take();
    const auto serving = std::ranges::find(steps, SERVING);
    ASSERT_NE(serving, steps.end());
    s_starting.assign(steps.begin(), serving + 1);
    s_ending.assign(serving + 1, steps.end());
  }

  static void endWhenServing() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    s_journal.waitForNote(SERVING);
    kill(getpid(), SIGTERM);
  }

  static inline int s_status = -1;
  static inline Steps s_starting;
  static inline Steps s_ending;
};

TEST_F(MainTest, StartsInOrder) {
  const std::string path = constants::CONFIGURATION_PATH;
  EXPECT_EQ(s_starting,
            (Steps{"daemonized SentrelVideo", "large blocks given back", "log opened SentrelVideo",
                   "SIGTERM handled", "timer initialized 10000",
                   "platform wrapper initialized SentrelVideo SentrelVideo MiruPlatform",
                   "container created 1.0 14", "loaded " + path, "camera 1 created",
                   "tracker obtained", SERVING}));
}

TEST_F(MainTest, EndsInReverseOrder) {
  EXPECT_EQ(s_ending, (Steps{"callback shut down", "HTTP handler freed", "container shut down",
                             "container destroyed", "tracker released",
                             "platform wrapper cleaned up", "timer deinitialized", "log closed"}));
  EXPECT_EQ(s_status, EXIT_SUCCESS);
}

}  // namespace
