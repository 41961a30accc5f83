#ifndef TRACKER_TRACKER_STATE_H
#define TRACKER_TRACKER_STATE_H

#include <atomic>
#include <cstdint>
#include <string>

#include "app/lock_order.h"
#include "base/mutex.h"
#include "tracker/tracker_events.h"

// The state that tracking is in and whether the head is being steered, and that others are told of
// both. The state may be changed by any thread at any time, also while the tracker's thread waits
// for the head: who must not act on an old one asks again right before. Any thread, no lock held by
// the caller above the one of the events; events are sent between declareEvents and
// undeclareEvents.
class TrackerState {
 public:
  enum class CameraState : std::int32_t {
    stopped = 0,
    connecting = 1,
    autotuning = 2,
    running = 3
  };

  void declareEvents() { events.declareEvents(); }
  void undeclareEvents() { events.undeclareEvents(); }

  CameraState get() const { return state; }

  // "stopped", "connecting", "autotuning" or "running".
  std::string getString() const;

  // Returns the state before. Tells nobody.
  CameraState exchange(CameraState newState) { return state.exchange(newState); }

  // Only from the state that the caller means, and tells it; false when there is another.
  bool change(CameraState from, CameraState to);

  // Tells the state. What is told last is the state that was reached last, whoever changes it at
  // once.
  void tell();

  // Whether the head is being steered, as was told last.
  bool isSteering() const { return events.isSentrelingActive(); }
  void tellSteering(bool on) { events.sendIsSentrelingEvent(on); }

 private:
  std::atomic<CameraState> state{CameraState::stopped};

  // Orders the state events.
  Mutex stateEventMutex ACQUIRED_AFTER(lock_order::TRACKER_INSTANCE)
      ACQUIRED_BEFORE(lock_order::TRACKER);
  TrackerEvents events;
};

#endif
