#ifndef SCENE_SCENE_READER_RESULT_H
#define SCENE_SCENE_READER_RESULT_H

#include <string>

#include "app/api_version.h"

// What the scene service answered to the request for a stream.
struct SceneReaderResult {
  // Unsuccessful, with no version.
  SceneReaderResult() = default;

  // "VERSION OK" is success; any other two words are a refusal that tells the service's version.
  explicit SceneReaderResult(const std::string& answer);

  bool success = false;
  API_Version version;
};

#endif
