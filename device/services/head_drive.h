#ifndef DEVICE_SERVICES_HEAD_DRIVE_H
#define DEVICE_SERVICES_HEAD_DRIVE_H

#include <cstdint>
#include <functional>

#include "head/head.h"
#include "services/served_head.h"

namespace device {

// Takes the head through real time, in even steps that lag behind the clock by less than one step.
class HeadDrive : public ServedHead {
 public:
  static constexpr std::int64_t STEP = 5000;  // microseconds

  // Microseconds of a clock that never goes back.
  using Clock = std::function<std::int64_t()>;

  // The seed is that of the head's chance.
  HeadDrive(const HeadSetup& setup, Clock timeSource, std::uint64_t seed = 1);

  // Is called whenever the head has come to the next moment of an even grid; the head is as it was
  // then. It may not use the drive.
  using Observer = std::function<void(std::int64_t time, const Head& head)>;

  // period: microseconds, a multiple of STEP. Replaces the observer before.
  void observe(std::int64_t period, Observer observer);

  // Steps the head up to the present.
  void advance();

  // The head as it is at the present.
  Head& getHead() {
    advance();
    return head;
  }

  void command(const HeadCommand& command) override { getHead().command(command); }
  void goHome(int speed) override { getHead().goHome(speed); }
  bool setPreset(int preset) override { return getHead().setPreset(preset); }
  bool goToPreset(int preset, int speed) override { return getHead().goToPreset(preset, speed); }
  std::map<int, HeadPosition> presets() override { return getHead().getPresets(); }
  std::optional<HeadStatus> toldStatus() override { return getHead().toldStatus(); }
  HeadStatus presentStatus() override { return getHead().status(); }
  int presetHere() override { return getHead().presetHere(); }
  CallDelay makeCallDelay() override { return head.makeCallDelay(); }

 private:
  void tellObserver();

  Clock clock;
  std::int64_t time;  // up to which the head has been stepped
  Head head;
  Observer observer;
  std::int64_t period = 0;
  std::int64_t nextObservation = 0;
};

}  // namespace device

#endif
