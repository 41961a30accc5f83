#ifndef TRACKER_SINGLE_OBJECT_H
#define TRACKER_SINGLE_OBJECT_H

#include <cstdint>

#include "geometry/point_f.h"
#include "tracker/widest_view.h"

// One object of one channel in the head's angles. Angles are degrees: pan is circular, -180 to 180,
// tilt is not.
class SingleObject {
 public:
  // What one frame tells of an object.
  struct Observation {
    std::int32_t channel;   // camera number minus one
    std::int32_t id;        // within the channel
    std::int32_t priority;  // of the guard that handed it over
    double pan;
    double tilt;
    double width;
    double height;
    std::int64_t timestamp;  // of the frame, monotonic microseconds
    PointF velocity;         // degrees per second in pan and tilt
  };

  // Both lead the object by its velocity (updatePosition).
  explicit SingleObject(const Observation& observation);
  void update(const Observation& observation);

  // Moves the object on along its velocity. Adds to where it is: repeated calls go on and on.
  void updatePosition();

  bool isObject(std::int32_t otherChannel, std::int32_t otherId) const {
    return channel == otherChannel && id == otherId;
  }

  bool sizeValid(const WidestView& view) const { return view.holds(width, height); }

  // Age of the observation in the mixed units in which it always was counted.
  // Only for tests.
  std::int32_t inactivityTime() const;

  std::int32_t getChannel() const { return channel; }
  std::int32_t getId() const { return id; }
  std::int32_t getPriority() const { return priority; }
  double getPan() const { return pan; }
  double getTilt() const { return tilt; }
  double getWidth() const { return width; }
  double getHeight() const { return height; }
  double getLeft() const { return left; }
  double getRight() const { return right; }
  double getTop() const { return top; }
  double getBottom() const { return bottom; }

 private:
  void take(const Observation& observation);

  std::int32_t channel = 0;
  std::int32_t id = 0;
  std::int32_t priority = 0;
  double pan = 0.0;
  double tilt = 0.0;
  double width = 0.0;
  double height = 0.0;
  double left = 0.0;
  double right = 0.0;
  double top = 0.0;
  double bottom = 0.0;
  std::int64_t timestamp = 0;  // whole seconds
  PointF velocity;
};

#endif
