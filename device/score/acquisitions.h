#ifndef DEVICE_SCORE_ACQUISITIONS_H
#define DEVICE_SCORE_ACQUISITIONS_H

#include <map>
#include <optional>
#include <set>
#include <span>
#include <vector>

#include "score/followed_one.h"
#include "score/score_figures.h"

namespace device {

// The time from somebody's entering to being recognised.
struct Acquisition {
  int person = 0;
  bool alone = false;                     // it was seen to enter, when nobody else counted
  double since = 0;                       // seconds, of entering
  double seconds = 0;                     // of the stay so far
  std::optional<double> recognisedAfter;  // seconds

  double value() const { return recognisedAfter.value_or(seconds); }
};

// Keeps each stay's. A stay is the time for which somebody counts without a break. Who counts at
// the first moment has not entered then, but before: nobody knows when.
class Acquisitions {
 public:
  // Everybody who counts at a moment, that stands for so many seconds.
  void follow(double time, double seconds, std::span<const Candidate> candidates);

  // How long somebody who counts at the last moment has been there.
  double stayedFor(int person) const;

  AcquisitionFigures figures() const;

  // Of somebody's first stay; nothing for who never counted.
  const Acquisition* firstOf(int person) const;

 private:
  std::vector<Acquisition> all;        // by entering
  std::map<int, std::size_t> present;  // person to its stay
  std::map<int, std::size_t> firsts;   // person to its first stay
  bool hasBegun = false;
  double now = 0;
};

}  // namespace device

#endif
