#ifndef DEVICE_WORLD_FRAME_H
#define DEVICE_WORLD_FRAME_H

#include <array>
#include <cstdint>
#include <vector>

namespace device {

// A point of a scene: Q12, -4096 to 4096 across the picture of the sensor, y upwards.
struct FramePoint {
  std::int32_t x = 0;
  std::int32_t y = 0;

  bool operator==(const FramePoint&) const = default;
};

struct FrameObject {
  std::int32_t id = 0;              // of the analytics, from 1; never used twice in a channel
  std::array<FramePoint, 4> box{};  // corners: bottom left, top left, top right, bottom right
  std::vector<FramePoint> outline;  // 8 to 24 vertices, not closed, within the picture
  FramePoint velocity;              // Q12 per second
  bool hasVelocity = true;          // the analytics report it
  std::int32_t confidence = 4096;   // 0 to 4096

  bool operator==(const FrameObject&) const = default;
};

// The numbers are those of the scene frames.
enum class FrameAction { deletion = 0, split = 1, merge = 2 };

struct FrameEvent {
  FrameAction action = FrameAction::deletion;
  std::vector<std::int32_t> from;  // deleted objects; the source of a split; the object that
                                   // remains after a merge
  std::vector<std::int32_t> to;    // the parts of a split; the objects that a merge absorbs

  bool operator==(const FrameEvent&) const = default;
};

// The analytics' report on one picture of one channel.
struct Frame {
  std::int64_t timestamp = 0;  // monotonic microseconds
  std::vector<FrameObject> objects;
  std::vector<FrameEvent> events;

  bool operator==(const Frame&) const = default;
};

}  // namespace device

#endif
