#ifndef SCENE_MOTE_SCENE_PARSER_H
#define SCENE_MOTE_SCENE_PARSER_H

#include <cstdint>

#include "scene/mote_scene.h"
#include "scene/object_storage.h"
#include "scene/parsed_scene.h"

// Turns one camera's frames into objects that live on from frame to frame, and follows the scene's
// merge, split and delete events. Used by one thread at a time.
class MoteSceneParser {
 public:
  MoteSceneParser(std::int32_t rotation, float aspectRatio);
  virtual ~MoteSceneParser() = default;

  // The pointers to objects in view are valid until the next call.
  ParsedScene parse(const MoteScene& scene);

  // A new rotation drops every object: sizes kept under the old one no longer compare.
  void updateCameraRotation(std::int32_t newRotation);

  // The same of width over height of the picture.
  void updateAspectRatio(float newAspectRatio);

  // Drops every object.
  void deleteAll() { storage.deleteAll(); }

  // Only for tests.
  const ObjectStorage& getStorage() const { return storage; }

 private:
  void updateObjects(const MoteScene& scene);
  void mergeObjects(const MoteScene& scene);
  void splitObjects(const MoteScene& scene);
  void deleteObjects(const MoteScene& scene, ParsedScene& parsed);
  void collectActiveObjects(const MoteScene& scene, ParsedScene& parsed) const;
  std::vector<TrackingObject*> findObjects(const std::vector<std::int32_t>& ids) const;

  ObjectStorage storage;
  std::int32_t rotation;
  float aspectRatio;
};

#endif
