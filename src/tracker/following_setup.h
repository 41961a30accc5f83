#ifndef TRACKER_FOLLOWING_SETUP_H
#define TRACKER_FOLLOWING_SETUP_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>

// How head and overview cameras are mounted, as the device's parameters say.
struct Installation {
  // Of an overview camera from the head: metres to the right (pan 90) and forward (pan 0).
  struct Offset {
    double x = 0.0;
    double y = 0.0;
  };
  static constexpr std::size_t MOST_CAMERAS = 16;

  const Offset& offsetOf(std::size_t channel) const {
    static constexpr Offset NONE;
    return channel < MOST_CAMERAS ? offsets[channel] : NONE;
  }

  double mastHeight = 5.0;                     // m, of head and cameras above the ground
  std::array<Offset, MOST_CAMERAS> offsets{};  // by channel, from 0
  std::optional<double> statusAge;             // s; half the dead time when it is not told
};

// What the device's parameters say of the way of following. Each is asked for anew: a service that
// does not answer keeps the caller. A value that is no number within its range is logged, and the
// default counts. A question that is lost is no parameter that there is not: what was counts on.
class FollowingSetup {
 public:
  FollowingSetup() = delete;

  // Whether the predictive way is chosen; nothing while the parameters cannot be read.
  static std::optional<bool> isPredictive();

  // A text that changes when the head is to be identified anew; nothing when it is not answered.
  static std::optional<std::string> identificationMark();

  // What is not answered, which is logged, is as before.
  static Installation installation(const Installation& before = {});
};

#endif
