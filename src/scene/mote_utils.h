// Which properties the versions of the scene service can deliver.
#ifndef SCENE_MOTE_UTILS_H
#define SCENE_MOTE_UTILS_H

#include <cstdint>

#include "app/api_version.h"

namespace MoteUtils {

// Whether the version delivers every property of the mask. An unknown version is logged and treated
// as the newest.
bool areCapabilitiesSupported(const API_Version& version, std::int32_t mask);

// The properties of the mask that the version delivers.
std::int32_t removeUnsupportedCapabilites(const API_Version& version, std::int32_t mask);

}  // namespace MoteUtils

#endif
