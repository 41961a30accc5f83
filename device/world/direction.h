#ifndef DEVICE_WORLD_DIRECTION_H
#define DEVICE_WORLD_DIRECTION_H

namespace device {

// World coordinates are metres: x to the right and y straight ahead as seen from the mast with the
// head at pan 0, z upwards from the ground. The mast's foot is the origin.
struct GroundPoint {
  double x = 0;
  double y = 0;
};

struct SpacePoint {
  double x = 0;
  double y = 0;
  double z = 0;
};

// A line of sight in the head's angles, degrees: pan -180 to 180 growing to the right, tilt growing
// upwards.
struct Direction {
  double pan = 0;
  double tilt = 0;
};

double toRadians(double degrees);
double toDegrees(double radians);

// An angle in [-180, 180).
double normalizedPan(double degrees);

// The line of sight of a vector; pan 0 for a vertical one.
Direction directionOf(const SpacePoint& vector);

// The vector of length 1 of a line of sight.
SpacePoint unitVector(const Direction& direction);

// The angle between two lines of sight, degrees, 0 to 180.
double angleBetween(const Direction& a, const Direction& b);

}  // namespace device

#endif
