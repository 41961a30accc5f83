#ifndef SCENE_PARSED_SCENE_H
#define SCENE_PARSED_SCENE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "scene/tracking_object.h"

// One frame as guards see it: the objects in view, in the frame's order, and those deleted in it.
// The deleted ones are owned; those in view only when it was made so, else they stay in the storage
// and are valid until the camera's next frame is parsed.
class ParsedScene {
 public:
  ParsedScene(std::int64_t timestamp, bool ownsActiveObjects);
  ParsedScene(const ParsedScene&) = delete;
  ParsedScene& operator=(const ParsedScene&) = delete;
  ParsedScene(ParsedScene&&) = default;
  ~ParsedScene();

  // Makes room for so many objects in view.
  void reserve(std::size_t count) { activeObjects.reserve(count); }

  // Null is ignored.
  void insertActiveObject(TrackingObject* object);
  void insertDeletedObject(std::unique_ptr<TrackingObject> object);

  std::int64_t getTimestamp() const { return timestamp; }
  const std::vector<TrackingObject*>& getActiveObjects() const { return activeObjects; }
  const std::vector<std::unique_ptr<TrackingObject>>& getDeletedObjects() const {
    return deletedObjects;
  }

 private:
  std::int64_t timestamp;
  std::vector<TrackingObject*> activeObjects;
  std::vector<std::unique_ptr<TrackingObject>> deletedObjects;
  bool ownsActiveObjects;
};

#endif
