#ifndef FUZZ_CONFIGURATION_RULES_H
#define FUZZ_CONFIGURATION_RULES_H

#include <jansson.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/json_auto_ptr.h"

namespace fuzz {

// Null when the text is no JSON object or array.
JsonAutoPtr decode(const std::string& text);

// The device that a configuration is for.
struct DeviceFacts {
  int cameras = 1;
  bool hasPresets = false;
  int profilesPerCamera = 3;
};

struct ProfileFacts {
  std::int32_t uid = 0;
  std::int32_t camera = 0;
  std::int32_t priority = 0;
  std::string name;
};

// Whether a configuration document is to be accepted, decided by the rules of the document alone:
// no line is shared with the daemon's parser.
bool isAcceptable(const json_t* document, const DeviceFacts& device);

struct CameraFacts {
  std::int32_t id = 0;
  std::int32_t rotation = 0;
};

// The cameras that are switched on and all profiles of an acceptable document, in its order.
std::vector<CameraFacts> activeCamerasOf(const json_t* document);
std::vector<ProfileFacts> profilesOf(const json_t* document);

}  // namespace fuzz

#endif
