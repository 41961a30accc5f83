// Frames and decoded objects for the tests of what reads them.
#ifndef TESTS_SRC_SCENE_FRAMES_H
#define TESTS_SRC_SCENE_FRAMES_H

#include <scene.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "geometry/polygon.h"
#include "scene/mote_object.h"
#include "scene/scene_encoder.h"
#include "scene/scene_frame.h"

using Ids = std::vector<std::int32_t>;

// A frame as a transport would deliver it: from malloc, exactly as long as its bytes.
inline SceneFrame frameOf(std::span<const std::uint8_t> bytes) {
  SceneFrame frame;
  frame.data.reset(static_cast<char*>(std::malloc(bytes.empty() ? 1 : bytes.size())));
  if (!bytes.empty()) {
    std::memcpy(frame.data.get(), bytes.data(), bytes.size());
  }
  frame.size = bytes.size();
  return frame;
}

inline SceneFrame frameOf(const SceneEncoder& encoder) {
  return frameOf(encoder.bytes());
}

inline void addTimestamp(SceneEncoder& encoder, std::int64_t timestamp) {
  encoder.addSceneProperty(SCENE_PROP_TIMESTAMP, std::span(&timestamp, 1));
}

// An object whose polygon is the upright rectangle around (x, y).
inline MoteObject boxObject(std::int32_t id, std::int64_t timestamp, int x = 0, int y = 0,
                            int width = 100, int height = 200, MoteVelocity velocity = {},
                            bool isConfident = true) {
  return MoteObject(id, timestamp, velocity,
                    std::make_unique<Polygon>(
                        Point{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)},
                        static_cast<std::int16_t>(width), static_cast<std::int16_t>(height)),
                    nullptr, isConfident);
}

#endif
