#include "report/figures.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace device {
namespace {

constexpr double REVERSAL = 0.5;  // degrees; smaller movements to and fro are play
constexpr double MOST_NOT_GREATER = 0.95;

// Counts how often an axis turns back.
class ReversalCounter {
 public:
  // Angles may wrap; what lies between two calls is taken the short way.
  void follow(double angle) {
    if (!last) {
      last = angle;
      return;
    }
    position += std::remainder(angle - *last, 360.0);
    last = angle;
    if (direction == 0) {
      start();
      return;
    }
    extreme = direction > 0 ? std::max(extreme, position) : std::min(extreme, position);
    if (direction * (extreme - position) >= REVERSAL) {
      direction = -direction;
      extreme = position;
      ++count;
    }
  }

  // What comes next does not follow what came before.
  void breakOff() {
    last.reset();
    position = 0;
    extreme = 0;
    direction = 0;
  }

  int getCount() const { return count; }

 private:
  void start() {
    if (std::abs(position) >= REVERSAL) {
      direction = position > 0 ? 1 : -1;
      extreme = position;
    }
  }

  std::optional<double> last;
  double position = 0;  // since the start, unwrapped
  double extreme = 0;   // the farthest in the present direction
  int direction = 0;
  int count = 0;
};

// Errors with the seconds for which they stood.
using WeightedErrors = std::vector<std::pair<double, double>>;

double percentile(WeightedErrors errors, double total) {
  std::sort(errors.begin(), errors.end());
  double passed = 0;
  for (const auto& [error, seconds] : errors) {
    passed += seconds;
    if (passed >= MOST_NOT_GREATER * total) {
      return error;
    }
  }
  return errors.back().first;
}

// What adds up over counted time.
struct Sums {
  double counted = 0;       // seconds
  double inView = 0;        // seconds
  double targetInView = 0;  // seconds
  double squares = 0;       // square degrees times seconds
  double heightShare = 0;   // seconds
  int switches = 0;
  WeightedErrors errors;
};

void addMoment(Sums& sums, const Moment& moment, double seconds, std::optional<int>& lastTarget) {
  const double error = angleBetween(moment.axis, moment.target->centre);
  sums.counted += seconds;
  sums.inView += moment.anyInView ? seconds : 0;
  sums.squares += error * error * seconds;
  sums.errors.emplace_back(error, seconds);
  if (moment.targetInView) {
    sums.targetInView += seconds;
    sums.heightShare += moment.target->height / moment.pictureHeight * seconds;
  }
  const bool switched = lastTarget && *lastTarget != moment.target->id && moment.lastTargetInside;
  sums.switches += switched ? 1 : 0;
  lastTarget = moment.target->id;
}

void addTracking(Figures& figures, const std::vector<Moment>& moments) {
  Sums sums;
  ReversalCounter pan;
  ReversalCounter tilt;
  std::optional<int> lastTarget;
  double before = 0;
  for (const Moment& moment : moments) {
    const double seconds = moment.time - std::exchange(before, moment.time);
    if (!moment.counted || !moment.target) {
      pan.breakOff();
      tilt.breakOff();
      lastTarget.reset();
      continue;
    }
    addMoment(sums, moment, seconds, lastTarget);
    pan.follow(moment.axis.pan);
    tilt.follow(moment.axis.tilt);
  }
  if (sums.counted <= 0) {
    return;
  }
  figures.inViewShare = sums.inView / sums.counted;
  figures.rmsError = std::sqrt(sums.squares / sums.counted);
  figures.p95Error = percentile(std::move(sums.errors), sums.counted);
  figures.targetSwitches = sums.switches;
  figures.reversalsPerSecond = (pan.getCount() + tilt.getCount()) / sums.counted;
  if (sums.targetInView > 0) {
    figures.meanHeightShare = sums.heightShare / sums.targetInView;
  }
}

}  // namespace

Figures figuresOf(const Session& session) {
  Figures figures;
  figures.duration = session.moments.empty() ? 0 : session.moments.back().time;
  for (const Mark& state : session.states) {
    if (state.name == "running" && !figures.stateRunningAfter) {
      figures.stateRunningAfter = state.time;
    }
  }
  for (const Interval& alarm : session.alarms) {
    ++figures.alarmsStarted;
    figures.alarmsEnded += alarm.end ? 1 : 0;
  }
  for (const Interval& steering : session.steering) {
    const double end = steering.end.value_or(figures.duration);
    figures.followed += std::max(end - steering.start, 0.0);
  }
  addTracking(figures, session.moments);
  return figures;
}

}  // namespace device
