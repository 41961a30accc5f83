// Objects and areas for the tests of filters and guards.
#ifndef TESTS_SRC_ADDON_OBJECTS_H
#define TESTS_SRC_ADDON_OBJECTS_H

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <vector>

#include "geometry/polygon.h"
#include "scene/mote_object.h"
#include "scene/parsed_scene.h"
#include "scene/tracking_object.h"

inline Point pointAt(int x, int y) {
  return {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
}

inline Polygon polygonOf(std::initializer_list<Point> points) {
  const std::vector<Point> vertices(points);
  return Polygon(vertices);
}

// One object as a frame shows it.
struct Observation {
  std::int32_t id = 1;
  std::int64_t time = 0;
  bool isConfident = true;

  MoteObject of(const Polygon& polygon) const {
    return MoteObject(id, time, {}, polygon.clone(), nullptr, isConfident);
  }

  // Even sizes put the object's position exactly there.
  MoteObject at(int x, int y, int width = 100, int height = 200) const {
    return of(
        Polygon(x - width / 2, x - width / 2 + width, y - height / 2, y - height / 2 + height));
  }
};

inline TrackingObject tracked(const MoteObject& object, std::int32_t rotation = 0,
                              float aspectRatio = 1.0F) {
  return TrackingObject(object, rotation, aspectRatio);
}

// A frame that shows the objects, which stay with the caller.
inline ParsedScene sceneOf(std::int64_t time, std::initializer_list<TrackingObject*> objects) {
  ParsedScene scene(time, false);
  for (TrackingObject* object : objects) {
    scene.insertActiveObject(object);
  }
  return scene;
}

#endif
