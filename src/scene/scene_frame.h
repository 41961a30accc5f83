#ifndef SCENE_SCENE_FRAME_H
#define SCENE_SCENE_FRAME_H

#include <cstddef>
#include <cstdlib>
#include <memory>

// The raw bytes of one scene frame as a transport delivered them. Both transports allocate them
// with malloc.
struct SceneFrame {
  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }
  };

  std::unique_ptr<char, Free> data;
  std::size_t size = 0;  // readable bytes
};

#endif
