#ifndef TRACKER_HOMING_H
#define TRACKER_HOMING_H

#include <atomic>
#include <cstdint>

// When the head is to go home: once, a time-out after it was steered last. The settings are the
// API's, the rest is the tracker's thread's alone.
class Homing {
 public:
  bool isEnabled() const { return enabled; }
  int getTimeout() const { return timeout; }  // seconds

  // Whether the value has changed.
  bool setEnabled(bool on) { return enabled.exchange(on) != on; }
  bool setTimeout(int seconds) { return timeout.exchange(seconds) != seconds; }

  // The head has been steered at that time (monotonic microseconds, not 0).
  void rearm(std::int64_t now) { lastMovement = now; }

  // Whether the head is to go home now; then not again until it has been steered.
  bool takeDue(std::int64_t now);

 private:
  std::atomic<bool> enabled{false};
  std::atomic<std::int32_t> timeout{5};       // seconds
  std::atomic<std::int64_t> lastMovement{0};  // 0 when disarmed
};

#endif
