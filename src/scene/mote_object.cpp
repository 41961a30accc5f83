#include "scene/mote_object.h"

#include <syslog.h>

#include <utility>
#include <vector>

#include "scene/scene_properties.h"

namespace {

constexpr std::int32_t LOW_CONFIDENCE_LIMIT = 4095;  // Q12; only above it an object is confident
constexpr int COORDINATES = 2;

// An outline of more coordinates is none: clipping it would hold up the camera.
constexpr int MAX_OUTLINE_VALUES = 2048;

std::unique_ptr<Polygon> readPolygon(const scene_object* object, int property) {
  const std::int32_t* values = nullptr;
  const int count = scene_get_obj_prop(object, property, &values);
  std::vector<Point> vertices;
  if (count > MAX_OUTLINE_VALUES) {
    return std::make_unique<Polygon>();
  }
  for (int i = 0; i + 1 < count; i += COORDINATES) {
    vertices.push_back(
        {static_cast<std::int16_t>(values[i]), static_cast<std::int16_t>(values[i + 1])});
  }
  return std::make_unique<Polygon>(vertices);
}

MoteVelocity readVelocity(const scene_object* object) {
  const std::int32_t* values = nullptr;
  if (scene_get_obj_prop(object, SCENE_OBJ_PROP_VELOCITY, &values) != COORDINATES) {
    return {};
  }
  return {values[0], values[1]};
}

bool readIsConfident(const scene_object* object) {
  const std::int32_t* values = nullptr;
  if (scene_get_obj_prop(object, SCENE_OBJ_PROP_CONFIDENCE, &values) < 1) {
    syslog(LOG_WARNING, "Could not get confidence value for object\n");
    return true;
  }
  return values[0] > LOW_CONFIDENCE_LIMIT;
}

}  // namespace

MoteObject::MoteObject(const scene_object* object, std::int64_t timestamp,
                       std::int32_t propertyMask)
    : id(scene_get_object_id(object)), timestamp(timestamp) {
  if ((propertyMask & SCENE_VELOCITY) != 0) {
    velocity = readVelocity(object);
  }
  if ((propertyMask & SCENE_POLYGON) != 0) {
    polygon = readPolygon(object, SCENE_OBJ_PROP_POLYGON);
  }
  if ((propertyMask & SCENE_BOUNDING_BOX) != 0) {
    boundingBox = readPolygon(object, SCENE_OBJ_PROP_BOUNDING_BOX);
  }
  if ((propertyMask & SCENE_CONFIDENCE) != 0) {
    isConfident = readIsConfident(object);
  }
}

MoteObject::MoteObject(std::int32_t id, std::int64_t timestamp, MoteVelocity velocity,
                       std::unique_ptr<Polygon> polygon, std::unique_ptr<Polygon> boundingBox,
                       bool isConfident)
    : id(id),
      timestamp(timestamp),
      velocity(velocity),
      polygon(std::move(polygon)),
      boundingBox(std::move(boundingBox)),
      isConfident(isConfident) {}

std::int32_t MoteObject::getWidth() const {
  return outline() != nullptr ? outline()->getWidth() : 0;
}

std::int32_t MoteObject::getHeight() const {
  return outline() != nullptr ? outline()->getHeight() : 0;
}
