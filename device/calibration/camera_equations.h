#ifndef DEVICE_CALIBRATION_CAMERA_EQUATIONS_H
#define DEVICE_CALIBRATION_CAMERA_EQUATIONS_H

// From a direction of the head to a place in the picture of a camera beside it, for numbers and for
// numbers with derivatives alike.
//
//   central projection, with the radial term of D. C. Brown (1966): what a pinhole shows at the
//     distance r from the middle, in focal lengths, the lens shows at r (1 + k r^2)
//   turns by the parameters of O. Rodrigues (1840), which have no singular place near zero
//   the ground: what the head sees below its horizon lies on a plane; what it sees above has no
//     parallax, as if it were infinitely far away
#include <Eigen/Core>
#include <Eigen/Geometry>
#include <cmath>

namespace device::calibration {

// Right, forward and up: of the head at pan 0 and tilt 0, or of the camera.
template <typename T>
using Vector3 = Eigen::Matrix<T, 3, 1>;

// Where camera and head stand, as far as it is told.
struct Heights {
  double head = 1;    // metres above the plane, above 0
  double camera = 1;  // the same
};

// What is sought, in the order of the columns of all derivatives.
enum Unknown {
  TURN_RIGHT,  // of the camera against a first guess, radians
  TURN_FORWARD,
  TURN_UP,
  FOCAL,       // logarithm of the focal length in halves of the picture's width
  DISTORTION,  // k
  OFFSET_X,    // of the camera from the head, in heights of the head, to its right
  OFFSET_Y,    // ... and forward
  UNKNOWNS
};

template <typename T>
using Unknowns = Eigen::Matrix<T, UNKNOWNS, 1>;

template <typename T>
Vector3<T> turned(const Vector3<T>& vector, const Vector3<T>& turn) {
  const Vector3<T> half = turn * T(0.5);
  const Vector3<T> once = half.cross(vector);
  const Vector3<T> twice = half.cross(once);
  const T scale = T(2.0) / (T(1.0) + half.dot(half));
  return vector + (once + twice) * scale;
}

// The direction (of any length) in which the camera sees the point that the head sees.
template <typename T>
Vector3<T> sightOfCamera(const Vector3<T>& sightOfHead, const T& offsetX, const T& offsetY,
                         const Heights& heights) {
  if (!(sightOfHead.z() < T(0.0))) {
    return sightOfHead;
  }
  const T rise((heights.camera - heights.head) / heights.head);
  return sightOfHead + Vector3<T>(offsetX, offsetY, rise) * sightOfHead.z();
}

// The direction (of any length) in which the head sees the point that the camera sees. The offset
// is in heights of the head.
template <typename T>
Vector3<T> sightOfHead(const Vector3<T>& sightOfCamera, const T& offsetX, const T& offsetY,
                       const Heights& heights) {
  if (!(sightOfCamera.z() < T(0.0))) {
    return sightOfCamera;
  }
  const T rise((heights.camera - heights.head) / heights.head);
  const T share = sightOfCamera.z() * T(heights.head / heights.camera);
  return sightOfCamera - Vector3<T>(offsetX, offsetY, rise) * share;
}

constexpr double LEAST_DEPTH =
    0.02;  // of a direction's length; less is beside or behind the camera

// Where the camera shows what the head sees in a direction: right and up of the middle, in halves
// of the picture's width. axes: the camera's right, forward and up, a row each, as first guessed.
// False for what is not in front of the camera.
template <typename T>
bool project(const Eigen::Matrix3d& axes, const Heights& heights, const Unknowns<T>& unknowns,
             const Vector3<T>& sight, T& right, T& up) {
  const Vector3<T> seen = sightOfCamera<T>(sight, unknowns[OFFSET_X], unknowns[OFFSET_Y], heights);
  const Vector3<T> guessed = axes.cast<T>() * seen;
  const Vector3<T> turn = unknowns.template head<3>();
  const Vector3<T> ray = turned<T>(guessed, turn);
  const T& depth = ray.y();
  if (!(depth > T(LEAST_DEPTH))) {
    return false;
  }
  const T x = ray.x() / depth;
  const T y = ray.z() / depth;
  using std::exp;
  const T focal = exp(unknowns[FOCAL]);
  const T scale = focal * (T(1.0) + unknowns[DISTORTION] * (x * x + y * y));
  right = x * scale;
  up = y * scale;
  return true;
}

}  // namespace device::calibration

#endif
