#include "services/frame_encoding.h"

#include <array>
#include <span>

#include "scene.h"
#include "scene/scene_encoder.h"
#include "services/frame_handshake.h"

namespace device {

namespace {

constexpr std::int32_t CONFIDENT = 4096;  // Q12, from here on

std::vector<std::int32_t> flatten(std::span<const FramePoint> points) {
  std::vector<std::int32_t> values;
  values.reserve(2 * points.size());
  for (const FramePoint& point : points) {
    values.push_back(point.x);
    values.push_back(point.y);
  }
  return values;
}

void encodeObject(const FrameObject& object, int mask, SceneEncoder* encoder) {
  encoder->beginObject(object.id);
  if ((mask & FRAME_BOX) != 0) {
    encoder->addObjectProperty(SCENE_OBJ_PROP_BOUNDING_BOX, flatten(object.box));
  }
  if ((mask & FRAME_POLYGON) != 0) {
    encoder->addObjectProperty(SCENE_OBJ_PROP_POLYGON, flatten(object.outline));
  }
  if ((mask & FRAME_VELOCITY) != 0 && object.hasVelocity) {
    encoder->addObjectProperty(SCENE_OBJ_PROP_VELOCITY, flatten({&object.velocity, 1}));
  }
  if ((mask & FRAME_LOW_CONFIDENT) != 0) {
    encoder->addObjectProperty(SCENE_OBJ_PROP_CONFIDENCE, {&object.confidence, 1});
  }
}

}  // namespace

std::vector<std::uint8_t> encodeFrame(const Frame& frame, int mask) {
  SceneEncoder encoder;
  encoder.addSceneProperty(SCENE_PROP_TIMESTAMP, {&frame.timestamp, 1});
  for (const FrameObject& object : frame.objects) {
    const bool wanted = object.confidence >= CONFIDENT || (mask & FRAME_LOW_CONFIDENT) != 0;
    if (wanted) {
      encodeObject(object, mask, &encoder);
    }
  }
  for (const FrameEvent& event : frame.events) {
    encoder.addEvent(static_cast<int>(event.action), event.from, event.to);
  }
  return encoder.bytes();
}

}  // namespace device
