#include "web_server/static_files.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace device {

namespace {

struct Kind {
  std::string_view extension;
  const char* type;
};

constexpr std::array<Kind, 7> KINDS = {{{".html", "text/html; charset=utf-8"},
                                        {".css", "text/css; charset=utf-8"},
                                        {".js", "text/javascript; charset=utf-8"},
                                        {".mjs", "text/javascript; charset=utf-8"},
                                        {".svg", "image/svg+xml"},
                                        {".png", "image/png"},
                                        {".json", "application/json"}}};

const char* typeOf(const std::filesystem::path& file) {
  const std::string extension = file.extension().string();
  const auto kind = std::ranges::find(KINDS, extension, &Kind::extension);
  return kind == KINDS.end() ? nullptr : kind->type;
}

bool isInside(const std::filesystem::path& file, const std::filesystem::path& folder) {
  return std::ranges::mismatch(folder, file).in1 == folder.end();
}

}  // namespace

std::optional<StaticFile> StaticFiles::read(std::string_view path) const {
  if (!path.starts_with('/') || path.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  std::string name(path.substr(1));
  if (name.empty() || name.ends_with('/')) {
    name += "index.html";
  }
  // A name that begins with a slash would replace the folder.
  if (name.starts_with('/')) {
    return std::nullopt;
  }

  std::error_code error;
  const auto root = std::filesystem::canonical(folder, error);
  if (error) {
    return std::nullopt;
  }
  const auto file = std::filesystem::canonical(root / name, error);
  if (error || !isInside(file, root) || !std::filesystem::is_regular_file(file, error)) {
    return std::nullopt;
  }
  const char* type = typeOf(file);
  std::ifstream stream(file, std::ios::binary);
  if (type == nullptr || !stream) {
    return std::nullopt;
  }
  return StaticFile{std::string(std::istreambuf_iterator<char>(stream), {}), type};
}

}  // namespace device
