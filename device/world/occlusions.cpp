#include "world/occlusions.h"

#include <cmath>

#include "random/chance.h"

namespace device {

// Time is cut into turns as long as the longest occlusion. In each at most one begins, which may go
// on into the next.
bool Occlusions::isHidden(int person, double time) const {
  if (setup.perSecond <= 0) {
    return false;
  }
  const auto turn = static_cast<std::int64_t>(std::floor(time / setup.most));
  return isHiddenBy(person, turn, time) || isHiddenBy(person, turn - 1, time);
}

bool Occlusions::isHiddenBy(int person, std::int64_t turn, double time) const {
  const std::int64_t number = static_cast<std::int64_t>(person) * 100000000 + turn;
  if (evenOf(seed, "occlusion", number) >= setup.perSecond * setup.most) {
    return false;
  }
  const double start =
      (static_cast<double>(turn) + evenOf(seed, "occlusion start", number)) * setup.most;
  const double length =
      std::lerp(setup.least, setup.most, evenOf(seed, "occlusion length", number));
  return time >= start && time < start + length;
}

}  // namespace device
