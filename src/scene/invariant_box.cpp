#include "scene/invariant_box.h"

#include <glib.h>
#include <syslog.h>

#include <algorithm>

#include "base/glib_ptr.h"

namespace {

bool isKnownRotation(std::int32_t rotation) {
  return rotation == 0 || rotation == 90 || rotation == 180 || rotation == 270;
}

Point makePoint(int x, int y) {
  return {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
}

}  // namespace

InvariantBox::InvariantBox(std::int32_t width, std::int32_t height, std::int32_t rotation,
                           float aspectRatio)
    : width(width), height(height), rotation(rotation), aspectRatio(aspectRatio) {
  if (!isKnownRotation(rotation)) {
    syslog(LOG_WARNING, "Unexpected camera rotation %d\n", rotation);
  }
}

void InvariantBox::update(std::int32_t newWidth, std::int32_t newHeight) {
  width = newWidth;
  height = newHeight;
}

void InvariantBox::merge(const InvariantBox& other) {
  if (aspectRatio != other.aspectRatio || rotation != other.rotation) {
    syslog(LOG_WARNING,
           "Cannot merge two Invariant boxes with different aspect ratio or image rotation,box 1: "
           "aspect ratio = %f image rotation = %i - box 2: aspect ratio = %f image rotation = %i\n",
           static_cast<double>(aspectRatio), rotation, static_cast<double>(other.aspectRatio),
           other.rotation);
    return;
  }
  width = std::max(width, other.width);
  height = std::max(height, other.height);
}

std::int32_t InvariantBox::getWidth() const {
  return isUpright() ? width : height;
}

std::int32_t InvariantBox::getHeight() const {
  return isUpright() ? height : width;
}

std::int32_t InvariantBox::getAspectCorrectedWidth() const {
  const float corrected = isUpright() ? aspectRatio * static_cast<float>(width)
                                      : static_cast<float>(height) / aspectRatio;
  return static_cast<std::int32_t>(corrected + 0.5F);
}

std::int32_t InvariantBox::getAspectCorrectedHeight() const {
  return getHeight();
}

std::int32_t InvariantBox::getFootPositionValue(const Point& p) const {
  switch (rotation) {
    case 180:
      return p.y + height / 2;
    case 90:
      return p.x + width / 2;
    case 270:
      return p.x - width / 2;
    default:
      return p.y - height / 2;
  }
}

Polygon InvariantBox::getFootBox(const Point& p) const {
  Polygon footBox;
  placeFootBox(p, footBox);
  return footBox;
}

void InvariantBox::placeFootBox(const Point& p, Polygon& footBox) const {
  const int left = p.x - width / 2;
  const int right = p.x + width / 2;
  const int bottom = p.y - height / 2;
  const int top = p.y + height / 2;
  switch (rotation) {
    case 180:
      return footBox.assignRectangle(left, right, p.y + height / 4, top);
    case 270:
      return footBox.assignRectangle(left, p.x - width / 4, bottom, top);
    case 90:
      return footBox.assignRectangle(p.x + width / 4, right, bottom, top);
    default:
      return footBox.assignRectangle(left, right, bottom, p.y - height / 4);
  }
}

Point InvariantBox::getViewedLowerLeft(const Point& p) const {
  const int halfWidth = width / 2;
  const int halfHeight = height / 2;
  switch (rotation) {
    case 180:
      return makePoint(p.x + halfWidth, p.y + halfHeight);
    case 90:
      return makePoint(p.x + halfWidth, p.y - halfHeight);
    case 270:
      return makePoint(p.x - halfWidth, p.y + halfHeight);
    default:
      return makePoint(p.x - halfWidth, p.y - halfHeight);
  }
}

std::string InvariantBox::toString() const {
  const GTextPtr text(g_strdup_printf("{width: %d, height: %d, rotation: %d, aspect ratio: %f}",
                                      width, height, rotation, static_cast<double>(aspectRatio)));
  return text.get();
}
