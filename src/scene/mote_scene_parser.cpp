#include "scene/mote_scene_parser.h"

#include <syslog.h>

#include <memory>

namespace {

constexpr std::uint32_t MAX_OBJECTS = 500;

}  // namespace

MoteSceneParser::MoteSceneParser(std::int32_t rotation, float aspectRatio)
    : storage(MAX_OBJECTS), rotation(rotation), aspectRatio(aspectRatio) {}

ParsedScene MoteSceneParser::parse(const MoteScene& scene) {
  ParsedScene parsed(scene.timestamp, false);
  updateObjects(scene);
  mergeObjects(scene);
  splitObjects(scene);
  deleteObjects(scene, parsed);
  collectActiveObjects(scene, parsed);
  return parsed;
}

void MoteSceneParser::updateObjects(const MoteScene& scene) {
  for (const auto& object : scene.objects) {
    if (TrackingObject* known = storage.getObject(object->getId())) {
      known->update(*object);
    } else {
      storage.insert(object->getId(),
                     std::make_unique<TrackingObject>(*object, rotation, aspectRatio));
    }
  }
}

std::vector<TrackingObject*> MoteSceneParser::findObjects(
    const std::vector<std::int32_t>& ids) const {
  std::vector<TrackingObject*> found;
  for (const std::int32_t id : ids) {
    if (TrackingObject* object = storage.getObject(id)) {
      found.push_back(object);
    }
  }
  return found;
}

void MoteSceneParser::mergeObjects(const MoteScene& scene) {
  for (const auto& change : scene.merges) {
    TrackingObject* remaining = storage.getObject(change->id);
    if (remaining == nullptr) {
      continue;
    }
    for (const TrackingObject* absorbed : findObjects(change->ids)) {
      remaining->merge(*absorbed, false);
    }
  }
}

void MoteSceneParser::splitObjects(const MoteScene& scene) {
  for (const auto& change : scene.splits) {
    if (const TrackingObject* source = storage.getObject(change->id)) {
      source->split(findObjects(change->ids));
    }
  }
}

void MoteSceneParser::deleteObjects(const MoteScene& scene, ParsedScene& parsed) {
  for (const std::int32_t id : scene.deletedIds) {
    parsed.insertDeletedObject(storage.remove(id));
  }
}

void MoteSceneParser::collectActiveObjects(const MoteScene& scene, ParsedScene& parsed) const {
  parsed.reserve(scene.objects.size());
  for (const auto& object : scene.objects) {
    TrackingObject* stored = storage.getObject(object->getId());
    if (stored == nullptr) {
      syslog(LOG_WARNING, "Object with id %i was not found in the storage\n", object->getId());
    }
    parsed.insertActiveObject(stored);
  }
}

void MoteSceneParser::updateCameraRotation(std::int32_t newRotation) {
  if (newRotation == rotation) {
    return;
  }
  rotation = newRotation;
  storage.deleteAll();
}

void MoteSceneParser::updateAspectRatio(float newAspectRatio) {
  if (aspectRatio != newAspectRatio) {
    aspectRatio = newAspectRatio;
    deleteAll();
  }
}
