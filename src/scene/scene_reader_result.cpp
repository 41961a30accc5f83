#include "scene/scene_reader_result.h"

#include "base/text.h"

SceneReaderResult::SceneReaderResult(const std::string& answer) {
  const auto tokens = text::words(answer, " ");
  if (tokens.size() != 2) {
    return;
  }
  version = API_Version(std::string(tokens[0]));
  success = tokens[1] == "OK";
}
