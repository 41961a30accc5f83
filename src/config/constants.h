// Texts that several parts of the application share.
#ifndef CONFIG_CONSTANTS_H
#define CONFIG_CONSTANTS_H

#include <jansson.h>

#include <cstddef>

namespace constants {

// From this version of the platform on scenes come through the subscriber module.
inline constexpr const char* CURRENT_VERSION = "2.15";
inline constexpr const char* API_VERSION_1_0 = "1.0";
inline constexpr const char* APP_NAME = "SentrelVideo";
inline constexpr const char* APP_CLASS = "MiruPlatform";  // the first topic of its events
inline constexpr const char* VISUAL_CONFIRMATION_EVENT = "xinternal_data";
inline constexpr const char* LEFT_TO_RIGHT = "leftToRight";
inline constexpr const char* RIGHT_TO_LEFT = "rightToLeft";
inline constexpr const char* BOTH_DIRECTIONS = "both";

// Only for other applications of these classes.
inline constexpr const char* INTERNAL_STATE_EVENT = "xinternal_state";
inline constexpr const char* OFF = "off";

inline constexpr const char* CONFIGURATION_PATH =
    "/usr/local/packages/sentrelvideo/localdata/config.json";
inline constexpr const char* SETTINGS_PATH =
    "/usr/local/packages/sentrelvideo/localdata/sentrelvideo.json";
inline constexpr const char* HEAD_FILE = "head.json";  // beside the settings

// Every document is written compactly, reals with 4 significant digits.
inline constexpr std::size_t JSON_DUMP_FLAGS = JSON_COMPACT | JSON_REAL_PRECISION(4);

}  // namespace constants

#endif
