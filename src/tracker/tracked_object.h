#ifndef TRACKER_TRACKED_OBJECT_H
#define TRACKER_TRACKED_OBJECT_H

#include <cstdint>

// An object that a guard has handed to the tracker.
struct TrackedObject {
  TrackedObject(std::int32_t id, bool seen) : id(id), seen(seen) {}

  std::int32_t id;
  bool seen;  // in the present frame
};

#endif
