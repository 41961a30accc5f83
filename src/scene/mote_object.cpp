#include "scene/mote_object.h"

#include <syslog.h>

#include <utility>

#include "scene/scene_properties.h"

namespace {

constexpr std::int32_t LOW_CONFIDENCE_LIMIT = 4095;  // Q12; only above it an object is confident
constexpr int COORDINATES = 2;

// An outline of more coordinates is none: clipping it would hold up the camera.
constexpr int MAX_OUTLINE_VALUES = 2048;

// Into the polygon that is there, if there is one.
void readPolygon(const scene_object* object, int property, bool isWanted,
                 std::unique_ptr<Polygon>& polygon) {
  if (!isWanted) {
    polygon.reset();
    return;
  }
  if (polygon == nullptr) {
    polygon = std::make_unique<Polygon>();
  }
  const std::int32_t* values = nullptr;
  const int count = scene_get_obj_prop(object, property, &values);
  if (count < 0 || count > MAX_OUTLINE_VALUES) {
    polygon->assign({});
  } else {
    polygon->assign({values, static_cast<std::size_t>(count)});
  }
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
    : timestamp(timestamp) {
  read(object, timestamp, propertyMask);
}

void MoteObject::read(const scene_object* object, std::int64_t frameTime,
                      std::int32_t propertyMask) {
  id = scene_get_object_id(object);
  timestamp = frameTime;
  velocity = (propertyMask & SCENE_VELOCITY) != 0 ? readVelocity(object) : MoteVelocity{};
  readPolygon(object, SCENE_OBJ_PROP_POLYGON, (propertyMask & SCENE_POLYGON) != 0, polygon);
  readPolygon(object, SCENE_OBJ_PROP_BOUNDING_BOX, (propertyMask & SCENE_BOUNDING_BOX) != 0,
              boundingBox);
  isConfident = (propertyMask & SCENE_CONFIDENCE) == 0 || readIsConfident(object);
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
