#ifndef TRACKER_PID_FOLLOWING_H
#define TRACKER_PID_FOLLOWING_H

#include <cstdint>
#include <optional>

#include "ptz/regulator.h"
#include "tracker/following.h"

// Follows with a regulator: controllers on pan and tilt that know nothing of the head, and a zoom
// at which the target fills half of the picture. Heads whose zoom loop is off get absolute zoom
// positions, one a second at most.
class PidFollowing : public Following {
 public:
  // The regulator must outlive it.
  explicit PidFollowing(Regulator& regulator) : regulator(regulator) {}

  std::optional<HeadCommand> step(const PtzHeadStatus& status, const HeadOptics& optics,
                                  Selection& selection, std::int64_t now) override;
  std::int64_t pauseAfter(std::int64_t /*spent*/) const override { return PAUSE; }
  void forget() override { regulator.inactivate(); }

 private:
  static constexpr std::int64_t PAUSE = 100000;  // microseconds

  HeadCommand command(double multiplier, const ZoomScale& zoomScale, std::int64_t now);

  Regulator& regulator;
  std::int64_t lastZoomCommandTime = 0;  // of the last absolute zoom; 0 when none
};

#endif
