#ifndef DEVICE_REPORT_FIGURES_H
#define DEVICE_REPORT_FIGURES_H

#include <optional>

#include "report/session.h"

namespace device {

// The figures of a run, from the device's own truth.
//
// "Counted time" is the time in which the tracker is "running" and at least one person has been
// inside the include area for 3 s or more without a break. Figures over it are empty when there was
// none. "Target" is, of the people inside the include area, the one whose centre is nearest to the
// head's axis.
struct Figures {
  double duration = 0;                      // seconds from the device's start to the last moment
  std::optional<double> stateRunningAfter;  // seconds from the start to the first state "running"
  int alarmsStarted = 0;
  int alarmsEnded = 0;
  double followed = 0;  // seconds in which the tracker said that it steers the head

  // Over counted time:
  std::optional<double> inViewShare;  // share of it with the centre of somebody who is inside the
                                      // include area within the head's picture
  std::optional<double> rmsError;     // degrees between axis and target, root of the mean square
  std::optional<double> p95Error;     // degrees; in 95 % of the time the error is not greater
  std::optional<int> targetSwitches;  // how often another person became the target while the one
                                      // before was still inside
  std::optional<double> reversalsPerSecond;  // how often pan or tilt turned back by 0.5 degrees or
                                             // more, per second
  std::optional<double>
      meanHeightShare;  // the target's height over the picture's height, mean over
                        // the part in which the target lies within the picture
};

Figures figuresOf(const Session& session);

}  // namespace device

#endif
