#include "scene/parsed_scene.h"

#include <utility>

ParsedScene::ParsedScene(std::int64_t timestamp, bool ownsActiveObjects)
    : timestamp(timestamp), ownsActiveObjects(ownsActiveObjects) {}

ParsedScene::~ParsedScene() {
  if (!ownsActiveObjects) {
    return;
  }
  for (TrackingObject* object : activeObjects) {
    delete object;
  }
}

void ParsedScene::insertActiveObject(TrackingObject* object) {
  if (object != nullptr) {
    activeObjects.push_back(object);
  }
}

void ParsedScene::insertDeletedObject(std::unique_ptr<TrackingObject> object) {
  if (object != nullptr) {
    deletedObjects.push_back(std::move(object));
  }
}
