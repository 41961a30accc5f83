#ifndef DEVICE_SCORE_MOTION_H
#define DEVICE_SCORE_MOTION_H

#include <array>
#include <optional>

#include "score/score_figures.h"
#include "score/score_sample.h"

namespace device {

// What a head did between two samples.
struct MotionStep {
  double seconds = 0;
  bool started = false;
  int reversals = 0;              // of pan and tilt, 0 to 2
  double accelerationSquare = 0;  // (degrees a second squared) squared
  bool zoomReversed = false;
};

// Follows a head's motion from sample to sample.
class Motion {
 public:
  // Nothing for the first sample.
  std::optional<MotionStep> follow(double time, const HeadPose& pose);

 private:
  std::optional<double> lastTime;
  HeadPose last;
  std::optional<std::array<double, 2>> lastRates;  // degrees a second, pan and tilt
  std::array<int, 2> directions{};                 // last told ones: 1, -1, or 0 for none yet
  int zoomDirection = 0;
  bool isMoving = false;
};

// Adds steps up.
class MotionSum {
 public:
  void add(const MotionStep& step);

  // Nothing without time.
  std::optional<MotionFigures> figures() const;

 private:
  double seconds = 0;
  int starts = 0;
  int reversals = 0;
  int zoomReversals = 0;
  double squares = 0;
};

}  // namespace device

#endif
