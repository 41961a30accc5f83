#ifndef GEOMETRY_POINT_F_H
#define GEOMETRY_POINT_F_H

// A pair of doubles: a position, size or velocity in pixels, or a pair of angles in degrees.
struct PointF {
  double x = 0.0;
  double y = 0.0;
};

#endif
