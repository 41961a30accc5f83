#ifndef CONFIG_DEFAULT_VALUES_H
#define CONFIG_DEFAULT_VALUES_H

#include <cstdint>
#include <string>

#include "config/constants.h"
#include "config/preset.h"

// An upright rectangle in configuration coordinates, -1.0 to 1.0.
struct DefaultRectangle {
  double xMin;
  double xMax;
  double yMin;
  double yMax;
};

// Defaults of new profiles and of the capability description.
struct DefaultValues {
  std::int32_t sizePercentWidth = 5;
  std::int32_t sizePercentHeight = 5;
  bool sizePercentActive = true;
  std::int32_t shortLived = 1;  // seconds
  bool shortLivedActive = true;
  std::int32_t swayingPercent = 5;
  bool swayingActive = true;
  std::int32_t individualCondition = 0;
  bool individualConditionActive = false;
  std::int32_t groupCondition = 0;
  bool groupConditionActive = false;
  DefaultRectangle includeArea{-0.97, 0.97, -0.97, 0.97};
  std::string alarmDirection = constants::LEFT_TO_RIGHT;
  DefaultRectangle loiteringAndFence{-0.2, 0.2, -0.2, 0.2};
  Preset_e preset = PRESET_NOT_BOUND;
};

#endif
