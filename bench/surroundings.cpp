#include "bench/surroundings.h"

#include <ptztolva.h>
#include <syslog.h>

#include <atomic>
#include <cstdlib>
#include <memory>

#include "app/clock.h"
#include "base/mutex.h"
#include "config/persistent.h"
#include "events/sdk_wrapper.h"
#include "fakes/fake_events.h"
#include "fakes/fake_lens.h"
#include "fakes/fake_parameters.h"
#include "support/temporary_folder.h"
#include "tracker/tracker.h"

namespace {

// Stands still but for passTime(); sleepers sleep until finish().
class StandingClock : public Clock {
 public:
  std::int64_t now() const override { return time.load(std::memory_order_relaxed); }

  void sleep(std::int64_t) override {
    const LockGuard lock(mutex);
    while (!ended) {
      end.wait(mutex);
    }
  }

  void finish() {
    const LockGuard lock(mutex);
    ended = true;
    end.notifyAll();
  }

  std::atomic<std::int64_t> time{10'000'000'000};

 private:
  Mutex mutex;
  Condition end;
  bool ended = false;
};

struct Surroundings {
  Surroundings() {
    Clock::replace(&clock);
    Persistent::setPathForTest(folder.path("settings.json"));
    FakeParameters::set("root.Image.I0.Appearance.Resolution", "1920x1080");
    FakeParameters::set("Image.I0.Appearance.Resolution", "1920x1080");
    FakeParameters::set("root.PTZ.RemoteCenter.C1.Pan", "0");
    FakeParameters::set("root.PTZ.RemoteCenter.C1.Tilt", "-20.8");
    FakeParameters::set("root.PTZ.RemoteCenter.C1.Roll", "0");
    lens.set(0, 27.0, 15.4);
    sdk_wrapper_init("SentrelVideo", "SentrelVideo", "MiruPlatform");
    Tracker::getInstance();  // one for all cases: its end waits for a thread that sleeps
  }

  ~Surroundings() {
    clock.finish();
    Tracker::releaseInstance();
    sdk_wrapper_cleanup();
    Clock::replace(nullptr);
  }

  TemporaryFolder folder;
  StandingClock clock;
  FakeLens lens;
};

std::unique_ptr<Surroundings> s_surroundings;

// Used by the benchmarks' thread; the tracker's own sleeps.
ptztolva_status s_head{};
std::size_t s_headMoves = 0;

}  // namespace

namespace bench {

void prepareSurroundings() {
  if (s_surroundings == nullptr) {
    s_surroundings = std::make_unique<Surroundings>();
  }
}

void removeSurroundings() {
  s_surroundings.reset();
}

void passTime(std::int64_t microseconds) {
  s_surroundings->clock.time += microseconds;
}

std::int64_t timeNow() {
  return s_surroundings->clock.now();
}

void setHead(double pan, double tilt, int zoom) {
  s_head = {static_cast<float>(pan), 0, static_cast<float>(tilt), 0, zoom, 0};
}

std::size_t headMoveCount() {
  return s_headMoves;
}

}  // namespace bench

extern "C" {

gboolean ptztolva_init(void) {
  return TRUE;
}

void ptztolva_cleanup(void) {}

gboolean ptztolva_move_ptz_travo(int, int, const char*, int, int, int, int, int, double, double,
                                 int, int, int, GError**) {
  ++s_headMoves;
  return TRUE;
}

gboolean ptztolva_goto_home(int, int, const char*, int, int, int, int, GError**) {
  return TRUE;
}

gboolean ptztolva_get_ptz_status(int, ptztolva_status* status, GError**) {
  *status = s_head;
  return TRUE;
}

void syslog(int, const char*, ...) {}
void __syslog_chk(int, int, const char*, ...) {}

}  // extern "C"
