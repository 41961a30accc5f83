#ifndef SCENE_MOTE_OBJECT_H
#define SCENE_MOTE_OBJECT_H

#include <scene.h>

#include <cstdint>
#include <memory>

#include "geometry/polygon.h"
#include "scene/mote_velocity.h"

// One object of one frame, as decoded.
class MoteObject {
 public:
  // Reads the properties of the mask. A vertex list that is missing or short becomes the padded
  // polygon of its points.
  MoteObject(const scene_object* object, std::int64_t timestamp, std::int32_t propertyMask);

  // Becomes another object, in the memory that this one has.
  void read(const scene_object* object, std::int64_t timestamp, std::int32_t propertyMask);

  // Only for tests.
  MoteObject(std::int32_t id, std::int64_t timestamp, MoteVelocity velocity,
             std::unique_ptr<Polygon> polygon, std::unique_ptr<Polygon> boundingBox,
             bool isConfident);

  std::int32_t getId() const { return id; }
  std::int64_t getTimestamp() const { return timestamp; }
  const MoteVelocity& getVelocity() const { return velocity; }
  bool getIsConfident() const { return isConfident; }

  // Null when not requested.
  const Polygon* getPolygon() const { return polygon.get(); }
  const Polygon* getBoundingBox() const { return boundingBox.get(); }

  // Of the polygon, else of the bounding box, else 0.
  std::int32_t getWidth() const;
  std::int32_t getHeight() const;

 private:
  const Polygon* outline() const { return polygon ? polygon.get() : boundingBox.get(); }

  std::int32_t id = -1;
  std::int64_t timestamp;
  MoteVelocity velocity;
  std::unique_ptr<Polygon> polygon;
  std::unique_ptr<Polygon> boundingBox;
  bool isConfident = true;
};

#endif
