#ifndef TRACKER_SUPER_OBJECT_H
#define TRACKER_SUPER_OBJECT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "tracker/single_object.h"
#include "tracker/widest_view.h"

// A group of objects that are close enough together to be framed as one. Angles are degrees.
class SuperObject {
 public:
  using Singles = std::vector<std::unique_ptr<SingleObject>>;

  // Empty, and untracked from now on.
  SuperObject();

  // Takes the object; the group's box grows.
  void add(std::unique_ptr<SingleObject> single);

  // Takes the observation to the member that it is of: the member is renewed, or dropped when it
  // has become too large. False when no member is meant.
  // Only for tests.
  bool updateSingleObject(const SingleObject::Observation& observation, const WidestView& view);

  // The same for a member that the caller has found; whether it is still a member.
  bool updateMember(SingleObject& member, const SingleObject::Observation& observation,
                    const WidestView& view);

  // Drop members; answer whether any was dropped.
  bool removeSingleObject(std::int32_t channel, std::int32_t id);
  bool removeSingleObjects(std::int32_t channel);

  // Takes the first member out.
  std::unique_ptr<SingleObject> takeFirst();

  // Takes all members out, in order.
  Singles takeAll();

  // Whether the group, or its union with another box, fits into the head's widest view.
  bool sizeValid(const WidestView& view) const;
  bool sizeValid(const SingleObject& single, const WidestView& view) const;
  bool sizeValid(const SuperObject& other, const WidestView& view) const;

  bool empty() const { return singles.empty(); }
  std::size_t size() const { return singles.size(); }
  const Singles& getSingles() const { return singles; }

  // The group's box and rank are worked out when they are asked for, however often its members have
  // changed before.
  double getPan() const { return current().pan; }
  double getTilt() const { return current().tilt; }
  double getWidth() const { return current().width; }
  double getHeight() const { return current().height; }
  double getLeft() const { return current().left; }
  double getRight() const { return current().right; }
  double getTop() const { return current().top; }
  double getBottom() const { return current().bottom; }
  std::int32_t getPriority() const { return current().priority; }

  // Seconds for which the group has been the followed one; 0 when it is not.
  double trackedTime(std::int64_t now) const;
  std::int64_t getTrackedSince() const { return trackedSince; }
  std::int64_t getUntrackedSince() const { return untrackedSince; }

  // Begins to count when the group becomes the followed one; nothing while it is.
  void markTracked(std::int64_t now);
  void markUntracked(std::int64_t now);

 private:
  struct Position {
    double pan = 0.0;
    double tilt = 0.0;
    double width = 0.0;
    double height = 0.0;
    double left = 0.0;
    double right = 0.0;
    double top = 0.0;
    double bottom = 0.0;
    std::int32_t priority = 1;
  };

  const Position& current() const {
    if (isPositionStale) {
      internalUpdatePosition();
    }
    return position;
  }
  bool fitsWith(double otherLeft, double otherRight, double otherTop, double otherBottom,
                const WidestView& view) const;
  void internalUpdatePosition() const;

  template <typename Predicate>
  bool removeIf(Predicate predicate);

  Singles singles;
  mutable Position position;  // stays as it was when the last member goes
  mutable bool isPositionStale = false;
  std::int64_t trackedSince = 0;  // monotonic microseconds, 0 when not tracked
  std::int64_t untrackedSince;    // monotonic microseconds
};

#endif
