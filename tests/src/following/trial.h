// People on the ground, the overview cameras that see them, and a simulated head that follows one
// of them or several: what the whole way of following reaches.
#ifndef TESTS_FOLLOWING_TRIAL_H
#define TESTS_FOLLOWING_TRIAL_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "following/axis_identification.h"
#include "following/simulated_head.h"

namespace simulation {

// One person's way: straight between points in time.
struct Walker {
  struct Point {
    double time;  // s
    double x;     // m
    double y;     // m
  };
  std::int64_t id = 0;
  std::vector<Point> points;

  double begin() const { return points.front().time; }
  double end() const { return points.back().time; }
  bool isPresent(double time) const { return time >= begin() && time <= end(); }
  Point at(double time) const;
};

struct Scene {
  std::vector<Walker> walkers;
  double mastX = 0.0;  // m, in the walkers' coordinates; pan 0 looks along their y
  double mastY = 0.0;
  double homeX = 0.0;  // what the head looks at, at first
  double homeY = 0.0;
};

// What is wrong with everything.
struct Condition {
  std::string name;
  HeadKind head;
  double frameAge = 0.1;       // s
  double frameJitter = 0.0;    // s, to each side
  double stampError = 0.0;     // s, to each side, of each picture
  double stampConstant = 0.0;  // s, its sign drawn once
  double misses = 0.0;         // share of the sightings
  double occlusions = 0.0;     // per second
  double newIds = 0.0;         // share of the occlusions after which the id is new
  bool newIdAtHandOver = false;
  double noise = 1.41;         // px
  double mounting = 0.0;       // deg, to each side in pan, tilt and roll
  double beside = 0.0;         // m, of the camera from the head
  double besideError = 0.0;    // m, of what is told
  double heightError = 0.0;    // share of the mast's height
  double heightSpread = 0.09;  // m, of people
  std::optional<double> toldStatusAge;
};

Condition ideal();
Condition mild();
Condition realistic();
Condition harsh();
Condition slow();
Condition fast();

struct Result {
  double rms = 0.0;           // deg, from 2 s on
  double percentile95 = 0.0;  // deg
  double inPicture = 0.0;     // share of the run
  double at20 = 0.0;          // share of all time at 20 % of the picture's height
  double at40 = 0.0;
  double starts = 0.0;         // per second
  double reversals = 0.0;      // per second
  double acceleration = 0.0;   // deg/s2, root mean square
  double duration = 0.0;       // s
  double errorAtEnd = 0.0;     // deg, mean of the last second
  bool identityKept = true;    // the followed identity is the person's own at the end
  std::uint64_t commands = 0;  // a hash of all of them
};

struct TrialRun {
  double begin = 0.0;  // s
  double end = 0.0;
  std::uint64_t seed = 1;
  std::uint64_t installation = 1;  // of what is drawn once: how cameras are mounted, what is told
  // An occlusion of those followed: from, to; the id after it is new.
  std::optional<std::pair<double, double>> occluded = std::nullopt;
};

// Follows the walkers of these numbers (into the scene's) together.
Result follow(const Scene& scene, const Condition& condition,
              const following::HeadIdentification& head, const std::vector<std::size_t>& followed,
              const TrialRun& run);

// Of many results: the median and a percentile of a figure.
double quantileOf(std::vector<double> values, double share);

}  // namespace simulation

#endif
