#ifndef TRACKER_SUPER_OBJECT_H
#define TRACKER_SUPER_OBJECT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ptz/bearing.h"
#include "tracker/single_object.h"
#include "tracker/widest_view.h"

// A group of objects that are close enough together to be framed as one. Angles are degrees.
class SuperObject {
 public:
  // Of objects that nobody has given one, and of a group without members.
  static constexpr std::int32_t LOWEST_PRIORITY = 1;

  using Singles = std::vector<std::unique_ptr<SingleObject>>;

  // Empty, and untracked from now on.
  SuperObject();

  // Take objects; the group's box grows.
  void add(std::unique_ptr<SingleObject> single);
  void add(Singles added);

  // Takes the observation to the member that it is of: the member is renewed, or dropped when it
  // has become too large. False when no member is meant.
  // Only for tests.
  bool updateSingleObject(const SingleObject::Observation& observation, const WidestView& view);

  // The same for a member that the caller has found; whether it is still a member. Box and rank are
  // those of before until measureChanges(): a crowd's observations come one after the other.
  bool updateMember(SingleObject& member, const SingleObject::Observation& observation,
                    const WidestView& view);

  // Works out box and rank when members were updated since.
  void measureChanges();

  // Drop members; answer whether any was dropped.
  bool removeSingleObject(std::int32_t channel, std::int32_t id);
  bool removeSingleObjects(std::int32_t channel);

  // Takes all members out, in order. The box stays.
  Singles takeAll();

  // Whether the group, or its union with another box, fits into the head's widest view.
  bool sizeValid(const WidestView& view) const;
  bool sizeValid(const SingleObject& single, const WidestView& view) const;
  bool sizeValid(const SuperObject& other, const WidestView& view) const;

  bool empty() const { return singles.empty(); }
  std::size_t size() const { return singles.size(); }
  const Singles& getSingles() const { return singles; }

  // The group's box and rank; as they were when the last member goes.
  double getPan() const { return position.pan; }
  double getTilt() const { return position.tilt; }
  double getWidth() const { return position.width; }
  double getHeight() const { return position.height; }
  double getLeft() const { return position.left; }
  double getRight() const { return position.right; }
  double getTop() const { return position.top; }
  double getBottom() const { return position.bottom; }
  std::int32_t getPriority() const { return position.priority; }

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

  bool fitsWith(double otherLeft, double otherRight, double otherTop, double otherBottom,
                const WidestView& view) const;
  Bearing::Arc measureArc() const;
  void internalUpdatePosition();

  template <typename Predicate>
  bool removeIf(Predicate predicate);

  Singles singles;
  Position position;
  bool hasUpdatedMembers = false;  // since the position was worked out
  std::int64_t trackedSince = 0;   // monotonic microseconds, 0 when not tracked
  std::int64_t untrackedSince;     // monotonic microseconds
};

#endif
