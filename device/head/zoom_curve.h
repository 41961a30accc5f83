#ifndef DEVICE_HEAD_ZOOM_CURVE_H
#define DEVICE_HEAD_ZOOM_CURVE_H

#include <vector>

namespace device {

// How the picture narrows along the zoom scale. A position is a share of the way from fully out (0)
// to fully in (1).
enum class ZoomCurveKind {
  linear,       // magnification grows evenly with the position
  power,        // magnification grows with a power of the position
  logarithmic,  // each part of the way magnifies by the same factor
  table         // the field angle is measured at some positions
};

struct ZoomPoint {
  double position = 0;    // share of the way, 0 to 1
  double fieldAngle = 0;  // degrees across the picture's width
};

struct ZoomCurve {
  ZoomCurveKind kind = ZoomCurveKind::linear;
  double exponent = 1;           // of Power
  std::vector<ZoomPoint> table;  // of Table: positions grow from 0 to 1, field angles fall
};

// The magnification at a position, 1 fully out. Fields are degrees across the picture's width,
// fully out and fully in; with a table they are not asked for. Between the points of a table the
// field angle changes by equal factors for equal ways.
double magnificationAt(const ZoomCurve& curve, double position, double widestField,
                       double narrowestField);

}  // namespace device

#endif
