// Where on the ground somebody stands whom an overview camera sees, and how well that is known.
//
// The line of sight to the foot is cut with the ground; a deviation of two pixels at the foot gives
// an ellipse whose long axis points away from the camera (central projection; propagation of errors
// to the first order).
//
// The ground's frame has its origin below the head, X to the right (pan 90), Y forward (pan 0),
// metres. Angles are degrees in the head's frame: pan to the right, tilt upwards.
#ifndef FOLLOWING_GROUND_POSITION_H
#define FOLLOWING_GROUND_POSITION_H

#include <Eigen/Core>
#include <optional>

namespace following {

// How an overview camera is mounted. A wrong height scales the ground and leaves directions right;
// a wrong offset is an error of direction of offset / distance.
struct Viewpoint {
  double height = 5.0;         // m, of camera and head above the ground, above 0
  double offsetX = 0.0;        // m, of the camera from the head
  double offsetY = 0.0;        // m
  double focalLength = 805.5;  // px, above 0
};

// Half the picture's width over the tangent of half its field: pixels.
double focalLength(double width, double horizontalField);

// The directions of one object's lowest and highest point, as its camera sees them.
struct Sighting {
  double pan = 0.0;       // deg, of the foot
  double footTilt = 0.0;  // deg
  double headTilt = 0.0;  // deg
};

struct GroundPosition {
  Eigen::Vector2d place;         // m, X and Y
  Eigen::Matrix2d covariance;    // m2
  Eigen::Matrix2d perPixel;      // m2, the covariance that a deviation of one pixel makes
  std::optional<double> height;  // m, of the person; none when it is not a person's
  double heightDeviation;        // m, of that height
};

constexpr double PIXEL_DEVIATION = 2.0;  // px, of a box' edge
constexpr double FIRST_SPEED = 1.0;  // m/s, to assume of somebody who is seen for the first time

// None when the foot is nearer to the horizon than 0.6 degrees or above it, or when a number is not
// finite. The speed (m/s) is that of the filter that takes the position.
std::optional<GroundPosition> locate(const Viewpoint& viewpoint, const Sighting& sighting,
                                     double speed);

}  // namespace following

#endif
