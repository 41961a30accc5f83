#ifndef SCENE_INVARIANT_BOX_H
#define SCENE_INVARIANT_BOX_H

#include <cstdint>
#include <string>

#include "geometry/point.h"
#include "geometry/polygon.h"

// An object's size seen independently of how the camera's image is rotated. Stored sizes are those
// of the image as delivered, in Q12 units; the getters turn them upright.
class InvariantBox {
 public:
  // rotation in degrees: 0, 90, 180 or 270; another value is taken after a warning. aspectRatio is
  // picture width over picture height.
  InvariantBox(std::int32_t width, std::int32_t height, std::int32_t rotation, float aspectRatio);
  virtual ~InvariantBox() = default;

  void update(std::int32_t width, std::int32_t height);

  // Takes the larger width and height of both. Boxes of another rotation or aspect ratio cannot be
  // compared: that is logged and nothing changes.
  void merge(const InvariantBox& other);

  std::int32_t getWidth() const;
  std::int32_t getHeight() const;

  // In the units of the picture's height, so that width and height compare.
  std::int32_t getAspectCorrectedWidth() const;
  std::int32_t getAspectCorrectedHeight() const;

  // The coordinate of the feet along the picture's upward direction, for a box around p.
  std::int32_t getFootPositionValue(const Point& p) const;

  // The quarter of the box around p that is nearest the feet, as an upright rectangle.
  Polygon getFootBox(const Point& p) const;

  // The same into a polygon that is there.
  void placeFootBox(const Point& p, Polygon& footBox) const;

  // The corner of the box around p that a viewer sees at the lower left.
  // Only for other applications of these classes.
  Point getViewedLowerLeft(const Point& p) const;

  // "{width: %d, height: %d, rotation: %d, aspect ratio: %f}".
  // Only for developers' logs.
  std::string toString() const;

 private:
  bool isUpright() const { return rotation == 0 || rotation == 180; }

  std::int32_t width;
  std::int32_t height;
  std::int32_t rotation;
  float aspectRatio;
};

#endif
