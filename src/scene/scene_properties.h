// What a scene frame can tell of its objects: the bits of a camera's property mask, which are also
// the capability numbers of the scene service.
#ifndef SCENE_SCENE_PROPERTIES_H
#define SCENE_SCENE_PROPERTIES_H

#include <cstdint>

enum SceneProperty : std::int32_t {
  SCENE_BOUNDING_BOX = 1,
  SCENE_POLYGON = 2,
  SCENE_VELOCITY = 4,
  SCENE_CONFIDENCE = 8  // objects of low confidence, and the confidence of all
};

#endif
