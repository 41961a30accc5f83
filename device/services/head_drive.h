#ifndef DEVICE_SERVICES_HEAD_DRIVE_H
#define DEVICE_SERVICES_HEAD_DRIVE_H

#include <cstdint>
#include <functional>

#include "head/head.h"

namespace device {

// Takes the head through real time, in even steps that lag behind the clock by less than one step.
class HeadDrive {
 public:
  static constexpr std::int64_t STEP = 5000;  // microseconds

  // Microseconds of a clock that never goes back.
  using Clock = std::function<std::int64_t()>;

  // The seed is that of the head's chance.
  HeadDrive(const HeadSetup& setup, Clock timeSource, std::uint64_t seed = 1);

  // Steps the head up to the present.
  void advance();

  // The head as it is at the present.
  Head& getHead() {
    advance();
    return head;
  }

 private:
  Clock clock;
  std::int64_t time;  // up to which the head has been stepped
  Head head;
};

}  // namespace device

#endif
