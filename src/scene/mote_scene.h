#ifndef SCENE_MOTE_SCENE_H
#define SCENE_MOTE_SCENE_H

#include <cstdint>
#include <memory>
#include <vector>

#include "scene/mote_object.h"
#include "scene/scene_frame.h"

// One object that became several.
struct MoteSplitData {
  std::int32_t id;                // the source
  std::vector<std::int32_t> ids;  // the parts
};

// Several objects that became one.
struct MoteMergeData {
  std::int32_t id;                // the one that remains
  std::vector<std::int32_t> ids;  // those that it absorbs
};

// One decoded scene frame.
class MoteScene {
 public:
  // Decodes a frame, reading the properties of the mask. A frame that cannot be decoded gives an
  // empty scene of time 0.
  // Only for tests and benchmarks: the daemon reads into the scene that it has.
  MoteScene(const SceneFrame& frame, std::int32_t propertyMask);

  // Becomes another frame, in the memory of the objects of the one before.
  void read(const SceneFrame& frame, std::int32_t propertyMask);

  // An empty scene, to be filled.
  explicit MoteScene(std::int64_t timestamp) : timestamp(timestamp) {}

  std::int64_t timestamp = 0;  // monotonic microseconds, never negative
  bool isDecoded = true;       // false for a frame that could not be decoded
  std::vector<std::unique_ptr<MoteObject>> objects;
  std::vector<std::int32_t> deletedIds;
  std::vector<std::unique_ptr<MoteMergeData>> merges;
  std::vector<std::unique_ptr<MoteSplitData>> splits;

 private:
  void clear();
  void readObject(const scene_object* object, std::int32_t propertyMask);

  std::vector<std::unique_ptr<MoteObject>> spareObjects;
};

#endif
