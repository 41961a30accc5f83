#include "fuzz/daemon.h"

#include <cstdlib>
#include <string>

#include "app/api_version_handler.h"
#include "app/interval_timer_observable.h"
#include "config/persistent.h"
#include "events/sdk_wrapper.h"
#include "fakes/fake_events.h"
#include "fakes/fake_main_loop.h"
#include "fakes/fake_parameters.h"
#include "fakes/fake_ptz_library.h"
#include "fakes/fake_ptz_math.h"
#include "fakes/log_capture.h"
#include "fuzz/require.h"

namespace {

constexpr int TICK = 10'000;  // microseconds
constexpr int THREADS = 2;    // the timer's and the tracker's
constexpr std::int32_t ALL_PROPERTIES = 15;
constexpr const char* VERSIONS[] = {"1.0"};

// A camera that no frame comes from.
class StillCamera : public Camera {
 public:
  using Camera::Camera;

  void handleMoteData(SceneFrame) override {}
};

class StillContainer : public CameraContainer {
 public:
  StillContainer() : CameraContainer(API_VersionHandler(VERSIONS, 1), ALL_PROPERTIES) {}

 protected:
  void createCamera(int cameraNbr, int rotation, const API_VersionHandler&,
                    int propertyMask) override {
    insertCamera(std::make_unique<StillCamera>(cameraNbr, rotation, 16.0F / 9.0F, propertyMask,
                                               StartupPosition{s_lastPreset, s_lastMovement}));
  }
  void shutDownSub() override {}
};

void resetFakes(const fuzz::DeviceFacts& device) {
  FakeEvents::reset();
  FakeMainLoop::reset();
  FakePtzLibrary::reset();
  FakePtzMath::reset();
  FakeParameters::reset();
  FakeParameters::set("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
  FakeParameters::set("root.ImageSource.NbrOfSources", std::to_string(device.cameras));
  FakeParameters::set("root.Properties.PTZ.PTZ", device.hasPresets ? "yes" : "no");
  for (int camera = 1; camera <= device.cameras; ++camera) {
    FakeParameters::set("root.Image.I" + std::to_string(camera - 1) + ".Appearance.Resolution",
                        "1920x1080");
    FakePtzMath::setCenter(camera, 0, 0);
  }
}

}  // namespace

Daemon::Daemon(const fuzz::DeviceFacts& device) {
  resetFakes(device);
  storage().remove(SETTINGS);
  Persistent::setPathForTest(storage().path(SETTINGS));
  IntervalTimerObservable::initialize(TICK);
  sdk_wrapper_init("SentrelVideo", "Sentrel Video", "MiruPlatform");
  tracker = &Tracker::getInstance();
  fuzz::require(clock.waitForSleepers(THREADS), "the threads come to rest");
  cameras = std::make_unique<StillContainer>();
}

Daemon::~Daemon() {
  cameras.reset();
  tracker->setState(Tracker::CameraState::stopped);
  clock.free();
  Tracker::releaseInstance();
  sdk_wrapper_cleanup();
  IntervalTimerObservable::deinitialize();
  fuzz::require(FakeEvents::setsAlive() == 0 && FakeEvents::activeDeclarations().empty(),
                "nothing of an event is left at the end");
  fuzz::require(FakePtzMath::contextsAlive() == 0, "nothing of a camera's geometry is left");
  LogCapture::clear();
}

FakeStorage& Daemon::storage() {
  static FakeStorage s_storage;
  return s_storage;
}
