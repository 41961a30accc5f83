#ifndef DEVICE_CALIBRATION_CAMERA_FIT_H
#define DEVICE_CALIBRATION_CAMERA_FIT_H

#include <Eigen/Core>
#include <optional>
#include <vector>

#include "calibration/camera_equations.h"

namespace device::calibration {

// A place of the picture, in halves of its width to the right and up of the middle, and the head's
// direction to what is seen there, of length 1.
struct Sighted {
  Eigen::Vector2d place;
  Vector3<double> sight;
};

// What is to be fitted.
struct FitTask {
  std::vector<Sighted> points;
  double deviation = 1;  // of a place each way, in halves of the picture's width
  bool seeksOffset = false;
  Heights heights;

  // How many of the unknowns, which are the first of them, are sought.
  int unknownCount() const { return seeksOffset ? UNKNOWNS : OFFSET_X; }
};

// The camera that shows the points best.
struct CameraFit {
  Eigen::Matrix3d axes;  // its right, forward and up in the head's frame, a row each
  double focal = 1;      // in halves of the picture's width
  double distortion = 0;
  double offsetX = 0;  // heights of the head
  double offsetY = 0;
  double misfit = 0;  // sum of the squared residuals, in deviations

  // Of the unknowns sought, for residuals of one deviation; the turns are those that still come
  // after the axes. Nothing where the points leave one of them free.
  std::optional<Eigen::MatrixXd> covariance;
};

// Least squares in the picture: A. M. Legendre (1805) by K. Levenberg (1944) and D. W. Marquardt
// (1963) as in MINPACK, from Eigen, with derivatives by automatic differentiation. Begins from
// several field angles, for each with the turn that fits best (B. K. P. Horn, 1987). Nothing when
// it does not converge from any. points: at least as many as give each unknown an equation.
std::optional<CameraFit> fitCamera(const FitTask& task);

// The variance of the head's direction to a place of the picture, radians squared, both ways
// together: errors propagated to the first order. sight: the head's direction to the place by the
// fit, of length 1. Nothing where the fit does not show it, or has no covariance.
std::optional<double> directionVariance(const FitTask& task, const CameraFit& fit,
                                        const Vector3<double>& sight);

// The same for one of the camera's own figures (its pan, tilt, roll and field angle), by the
// figure's derivatives for the unknowns.
double varianceOf(const CameraFit& fit, const Eigen::VectorXd& derivatives);

}  // namespace device::calibration

#endif
