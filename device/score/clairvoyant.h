#ifndef DEVICE_SCORE_CLAIRVOYANT_H
#define DEVICE_SCORE_CLAIRVOYANT_H

#include <optional>

#include "head/head.h"
#include "score/score_sample.h"

namespace device {

// Where an axis has to be, and how fast it has to move there.
struct AxisGoal {
  double position = 0;
  double rate = 0;  // units per second
};

// An axis that reaches its goal as fast as its speed and acceleration allow, and then keeps to it.
class ChasingAxis {
 public:
  ChasingAxis(const AxisSetup& setup, double position);

  void step(double seconds, const AxisGoal& goal);

  double getPosition() const { return position; }

 private:
  AxisSetup setup;
  double position;
  double velocity = 0;
};

// A head that is told the truth about one person (see clairvoyantPoses()).
class ClairvoyantHead {
 public:
  ClairvoyantHead(const ScoreSetup& setup, const HeadSetup& head);

  // Where it looks when the world has come to a sample.
  HeadPose follow(const ScoreSample& sample);

 private:
  struct Aim {
    std::optional<int> person;  // none for home
    HeadPose pose;
  };

  Aim aimAt(const ScoreSample& sample);
  const ScoredPerson* choose(const ScoreSample& sample);
  HeadPose poseFor(const ScoredPerson& person) const;
  double zoomFor(double field) const;
  void moveTowards(const Aim& from, const Aim& to, double seconds);

  ScoreSetup setup;
  HeadSetup head;
  ChasingAxis pan;
  ChasingAxis tilt;
  double zoom;
  std::optional<double> lastTime;
  Aim last;
  std::optional<int> chosen;
  double chosenSince = 0;  // for one who is chosen by a head at rest
};

}  // namespace device

#endif
