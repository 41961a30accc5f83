// Writes scene frames as libscene reads them.
//
// Properties and events are numbered in scene.h. The order of the calls is the order in the frame,
// but that scene properties, objects and events may come mixed: they are kept apart.
#ifndef SCENE_SCENE_ENCODER_H
#define SCENE_SCENE_ENCODER_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

class SceneEncoder {
 public:
  void addSceneProperty(int property, std::span<const std::int64_t> values);

  // Begins an object; the object properties that follow belong to it.
  void beginObject(std::int32_t id);

  // Throws std::logic_error when no object was begun.
  void addObjectProperty(int property, std::span<const std::int32_t> values);

  // SCENE_EVENT_DELETE takes the deleted ids as from and nothing as to; the others have both
  // properties, whatever they hold.
  void addEvent(int action, std::span<const std::int32_t> from, std::span<const std::int32_t> to);

  // The frame so far. Throws std::length_error above 16 MiB.
  std::vector<std::uint8_t> bytes() const;

  // Back to an empty frame.
  void clear();

 private:
  std::vector<std::uint8_t> properties;
  std::vector<std::uint8_t> objects;
  std::vector<std::uint8_t> events;
  std::uint32_t propertyCount = 0;
  std::uint32_t objectCount = 0;
  std::uint32_t eventCount = 0;
  std::size_t objectPropertyCountAt = 0;  // where in objects the open object counts its own
};

#endif
