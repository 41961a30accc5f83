#include "scene/scene_reader_result.h"

#include <sstream>
#include <vector>

namespace {

std::vector<std::string> splitAtBlanks(const std::string& text) {
  std::vector<std::string> tokens;
  std::istringstream stream(text);
  for (std::string token; std::getline(stream, token, ' ');) {
    if (!token.empty()) {
      tokens.push_back(token);
    }
  }
  return tokens;
}

}  // namespace

SceneReaderResult::SceneReaderResult(const std::string& answer) {
  const std::vector<std::string> tokens = splitAtBlanks(answer);
  if (tokens.size() != 2) {
    return;
  }
  version = API_Version(tokens[0]);
  success = tokens[1] == "OK";
}
