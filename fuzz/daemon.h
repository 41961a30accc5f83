#ifndef FUZZ_DAEMON_H
#define FUZZ_DAEMON_H

#include <memory>
#include <vector>

#include "camera/camera_container.h"
#include "fakes/fake_clock.h"
#include "fuzz/configuration_rules.h"
#include "fuzz/fake_storage.h"
#include "tracker/tracker.h"

// The daemon without its transports and its API, on a device that is only fakes: no bus, no
// network, files in memory, and a clock that stands still, so that its threads sleep until its end.
// Each is as new as after a start. One at a time, and always for the same device, of which the
// daemon asks once per process.
class Daemon {
 public:
  explicit Daemon(const fuzz::DeviceFacts& device);
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon();

  FakeStorage& storage();
  CameraContainer& getCameras() { return *cameras; }
  Tracker& getTracker() { return *tracker; }

  static constexpr const char* SETTINGS = "settings.json";

 private:
  FakeClock clock;
  Tracker* tracker = nullptr;
  std::unique_ptr<CameraContainer> cameras;
};

#endif
