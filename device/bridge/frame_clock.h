#ifndef DEVICE_BRIDGE_FRAME_CLOCK_H
#define DEVICE_BRIDGE_FRAME_CLOCK_H

#include <cstdint>
#include <deque>
#include <optional>

namespace device::bridge {

// From a camera's clock to the monotonic one. The packet that came fastest within a minute is taken
// for one that took no time. All times are microseconds; knows no clock.
class FrameClock {
 public:
  static constexpr std::int64_t WINDOW = 60000000;
  static constexpr std::int64_t JUMP = 500000;
  static constexpr int PERSISTENCE = 5;  // frames that make a jump a clock that was set
  static constexpr std::int64_t DAY = 86400LL * 1000000;

  // leastDelay: from the exposure to the arrival of the fastest frame.
  explicit FrameClock(std::int64_t leastDelay = 0) : leastDelay(leastDelay) {}

  // The moment of a frame, later than that of the frame before and not after its arrival. told: as
  // its UtcTime says; sent: as RTCP says; both of the camera's clock, since 1970. With neither it
  // is the arrival. A told time that stands still, or is a day off a sent one, counts for nothing.
  std::int64_t timeOf(const std::optional<std::int64_t>& told,
                      const std::optional<std::int64_t>& sent, std::int64_t arrival);

  // The monotonic moment of one of the camera's clock, by the frames that came before; nothing
  // without any.
  std::optional<std::int64_t> at(std::int64_t camera) const;

 private:
  struct Difference {
    std::int64_t time = 0;
    std::int64_t amount = 0;
  };

  std::optional<std::int64_t> plausible(const std::optional<std::int64_t>& told,
                                        const std::optional<std::int64_t>& sent);
  void note(std::int64_t difference, std::int64_t arrival);
  std::int64_t between(std::int64_t time, std::int64_t arrival);

  std::int64_t leastDelay;
  std::deque<Difference> differences;  // growing in time and amount: the first is the least
  int strange = 0;                     // frames in a row beyond a jump
  std::optional<std::int64_t> lastTold;
  int sameTold = 0;
  std::optional<std::int64_t> last;
};

}  // namespace device::bridge

#endif
