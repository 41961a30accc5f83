#include "scene/mote_utils.h"

#include <syslog.h>

#include <array>

#include "scene/scene_properties.h"

namespace {

struct Capabilities {
  const char* version;
  std::int32_t mask;
};

constexpr std::array KNOWN_VERSIONS{
    Capabilities{"1.0", SCENE_BOUNDING_BOX | SCENE_POLYGON | SCENE_VELOCITY},
    Capabilities{"1.1", SCENE_BOUNDING_BOX | SCENE_POLYGON | SCENE_VELOCITY | SCENE_CONFIDENCE}};

std::int32_t findCapabilities(const API_Version& version) {
  for (const Capabilities& known : KNOWN_VERSIONS) {
    if (version.isValid() && version == API_Version(known.version)) {
      return known.mask;
    }
  }
  syslog(LOG_WARNING, "Cannon find the capabilities for version %s\n", version.toString().c_str());
  return KNOWN_VERSIONS.back().mask;
}

}  // namespace

namespace MoteUtils {

bool areCapabilitiesSupported(const API_Version& version, std::int32_t mask) {
  return (findCapabilities(version) & mask) == mask;
}

std::int32_t removeUnsupportedCapabilites(const API_Version& version, std::int32_t mask) {
  return findCapabilities(version) & mask;
}

}  // namespace MoteUtils
