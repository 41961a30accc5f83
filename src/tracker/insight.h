#ifndef TRACKER_INSIGHT_H
#define TRACKER_INSIGHT_H

#include <cstdint>
#include <optional>
#include <vector>

// What the predictive way of following knows and expects, for those who look on. Places are metres
// on the ground from the head's foot, to the right (pan 90) and forward (pan 0); angles degrees in
// the head's frame; times seconds. Values.

struct AxisInsight {
  double deadTime = 0.0;      // s
  double speed = 0.0;         // deg/s, the fastest
  double acceleration = 0.0;  // deg/s2
  double ratio = 1.0;         // of the real speed to the identified one
};

// The head as it was identified.
struct HeadInsight {
  AxisInsight pan;
  AxisInsight tilt;
  double misfit = 0.0;  // HeadModel
};

// What the head is led to: one person or a group, when a command given now acts.
struct AimInsight {
  double pan = 0.0;
  double tilt = 0.0;
  double width = 0.0;      // deg, as seen
  double height = 0.0;     // deg
  double deviation = 0.0;  // deg
  double ahead = 0.0;      // s, how far it is predicted
  double gap = 0.0;        // s, for which nobody of them has been seen
};

struct PersonInsight {
  std::int64_t identity = 0;
  double x = 0.0;  // when a command given now acts
  double y = 0.0;
  double velocityX = 0.0;  // m/s
  double velocityY = 0.0;
  double varianceX = 0.0;  // m2, of the place
  double covariance = 0.0;
  double varianceY = 0.0;
  double height = 0.0;      // m
  double unseen = 0.0;      // s, since the last picture of him
  bool isWanted = false;    // a guard has handed him over
  bool isFollowed = false;  // he is, or is one of those, whom the head is led to
};

struct Insight {
  std::optional<HeadInsight> head;  // none while it is not identified
  std::optional<AimInsight> aim;    // none while nobody is followed
  std::vector<PersonInsight> people;
};

#endif
