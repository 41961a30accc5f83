#ifndef SCENE_SCENE_FRAME_H
#define SCENE_SCENE_FRAME_H

#include <cstddef>

#include "base/allocated.h"

// The raw bytes of one scene frame as a transport delivered them. Both transports allocate them
// with malloc.
struct SceneFrame {
  Allocated<char> data;
  std::size_t size = 0;  // readable bytes
};

#endif
