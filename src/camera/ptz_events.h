// What the PTZ service tells of a mechanical head. Times are monotonic microseconds.
#ifndef CAMERA_PTZ_EVENTS_H
#define CAMERA_PTZ_EVENTS_H

#include <cstdint>

struct PTZ_PresetEvent {
  bool onPreset = false;          // arrived; else left
  std::int32_t presetToken = -1;  // -1 when absent
  std::int64_t timestamp = 0;
};

struct PTZ_MovementEvent {
  bool isMoving = false;
  std::int64_t timestamp = 0;
};

#endif
