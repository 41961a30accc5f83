#ifndef PTZ_BEARING_H
#define PTZ_BEARING_H

#include <span>
#include <vector>

// Angle operations on bearings in degrees. Pure arithmetic.
class Bearing {
 public:
  Bearing() = delete;

  // In [0, 360).
  static double normalize(double x);

  // a - b the short way round. Corrected by one turn each way only: inputs more than a full turn
  // apart are not folded further.
  static double shortestDiff(double a, double b);

  // From a clockwise to b, in [0, 360).
  static double clockwiseDiff(double a, double b);

  // The middle between both on the shorter arc.
  static double center(double a, double b);

  // The arc that holds all bearings of the list: clockwise from first to second, found by leaving
  // out the largest gap (the earliest of equal ones). An empty list leaves both untouched; equal
  // bearings give that bearing twice.
  // Only for callers that keep their list; the daemon's sort it in place.
  static void bounds(std::vector<double> list, double& first, double& second);

  struct Arc {
    double first;
    double second;
  };

  // The same; sorts the caller's list, which must not be empty.
  static Arc boundsInPlace(std::span<double> list);
};

#endif
