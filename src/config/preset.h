#ifndef CONFIG_PRESET_H
#define CONFIG_PRESET_H

#include <cstdint>

// Presets that are no preset numbers.
enum Preset_e : std::int32_t {
  PRESET_ANY = -1,        // a guard that watches at any preset
  PRESET_NOT_BOUND = -2,  // a guard that watches wherever the camera rests
  PRESET_NONE = -3        // the camera is not at a preset
};

#endif
