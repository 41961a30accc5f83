#ifndef TRACKER_SELECTION_H
#define TRACKER_SELECTION_H

#include <cstdint>
#include <optional>

#include "following/subject.h"
#include "tracker/target.h"

// Whom to look at, and how long nobody of them has been seen (s).
struct FollowedSubject {
  following::Subject subject;
  double gap = 0.0;
};

// Who says what is to be followed, for each way of following as it needs it. Pan and tilt are where
// the head looks, degrees; the tracker's thread asks.
class Selection {
 public:
  virtual ~Selection() = default;

  // Chooses the group to follow, as it was seen last; nothing when there is none.
  virtual std::optional<Target> selectTarget(double pan, double tilt) = 0;

  // The same of people, as they will be at a time; nobody while nobody tells who is who. Monotonic
  // microseconds.
  virtual std::optional<FollowedSubject> selectSubject(double pan, double tilt, std::int64_t now,
                                                       std::int64_t at) = 0;
};

#endif
