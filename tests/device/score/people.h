#ifndef TESTS_DEVICE_SCORE_PEOPLE_H
#define TESTS_DEVICE_SCORE_PEOPLE_H

#include <vector>

#include "score/score_sample.h"

namespace device {

inline constexpr ScoreSetup SETUP{.mastHeight = 5, .pictureWidth = 1920, .pictureHeight = 1080};
inline constexpr double PERIOD = 0.05;  // seconds

inline ScoredPerson personAt(int id, double x, double y, bool counts = true) {
  return {.id = id, .position = {x, y}, .height = 1.7, .counts = counts};
}

// The pose with the middle of somebody's body on its axis.
inline HeadPose lookingAt(const ScoredPerson& person, double field) {
  const Direction middle =
      directionOf({person.position.x, person.position.y, person.height / 2 - SETUP.mastHeight});
  return {.pan = middle.pan, .tilt = middle.tilt, .field = field};
}

// Samples that go on after those there are, for so many seconds.
inline void append(std::vector<ScoreSample>& samples, double seconds, const HeadPose& head,
                   const std::vector<ScoredPerson>& people) {
  const double start = samples.empty() ? -PERIOD : samples.back().time;
  const int count = static_cast<int>(seconds / PERIOD + 0.5);
  for (int i = 1; i <= count; ++i) {
    samples.push_back({start + i * PERIOD, head, people});
  }
}

}  // namespace device

#endif
