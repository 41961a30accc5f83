#include "world/mounting.h"

#include <string>

#include "random/chance.h"

namespace device {

OverviewCameraSetup mounted(const OverviewCameraSetup& told, const MountingError& error,
                            std::uint64_t seed, int channel) {
  Chance chance(seed, "mounting " + std::to_string(channel));
  const auto drawn = [&](double value) {
    return error.randomSigns ? value * chance.sign() : value;
  };
  OverviewCameraSetup real = told;
  real.pan += drawn(error.pan);
  real.tilt += drawn(error.tilt);
  real.roll += drawn(error.roll);
  return real;
}

}  // namespace device
