// How a simulated head is made to tell what it is: a relay oscillation and the staircase, one axis
// after the other.
#ifndef TESTS_FOLLOWING_TUNING_H
#define TESTS_FOLLOWING_TUNING_H

#include <cstdint>
#include <limits>

#include "base/units.h"
#include "following/axis_identification.h"
#include "following/simulated_head.h"

namespace simulation {

struct Tuning {
  double relaySeconds = 4.0;  // 0: no relay
  double tiltStart = -35.0;   // deg
  double tiltRoom = 35.0;     // deg, that one level of the staircase may take
};

// What an axis recorded.
inline following::AxisRecord recordAxis(const HeadKind& kind, std::uint64_t seed, bool isTilt,
                                        const Tuning& tuning = {}) {
  constexpr int RELAY = 35;  // percent
  SimulatedHead head(kind, seed, 0.0, tuning.tiltStart);
  following::AxisRecord record;
  std::int64_t now = 0;
  const auto step = [&](int percent) {
    const double status = isTilt ? head.statusTilt() : head.statusPan();
    record.addStatus(now, status);
    head.command(now, isTilt ? 0 : percent, isTilt ? percent : 0);
    record.addCommand(now, percent);
    now += PERIOD;
    head.advanceTo(now);
    return status;
  };
  int relay = RELAY;
  const double middle = isTilt ? tuning.tiltStart : 0.0;
  while (static_cast<double>(now) < tuning.relaySeconds * 1e6) {
    const double off = (isTilt ? head.statusTilt() : head.statusPan()) - middle;
    if (off > 0.5) {
      relay = -RELAY;
    }
    if (off < -0.5) {
      relay = RELAY;
    }
    step(relay);
  }
  record.beginStaircase(now);
  const double room = isTilt ? tuning.tiltRoom : std::numeric_limits<double>::infinity();
  const following::Staircase staircase(following::speedInRelay(record).value_or(0.0), room);
  const std::int64_t begin = now;
  while (const auto percent = staircase.command(units::toSeconds(now - begin) + 1e-6)) {
    step(*percent);
  }
  return record;
}

inline following::HeadIdentification identifyHead(const HeadKind& kind, std::uint64_t seed,
                                                  const Tuning& tuning = {}) {
  return following::identifyHead(recordAxis(kind, seed, false, tuning),
                                 recordAxis(kind, seed + 1, true, tuning));
}

}  // namespace simulation

#endif
