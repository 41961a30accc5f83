#ifndef DEVICE_WEB_SERVER_STATIC_FILES_H
#define DEVICE_WEB_SERVER_STATIC_FILES_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace device {

struct StaticFile {
  std::string contents;
  const char* type;  // of the content, with its character set
};

// The files of a folder, read anew for each request. Nothing outside of the folder is given out,
// also not over a symbolic link, and no file of a kind that a page does not need.
class StaticFiles {
 public:
  explicit StaticFiles(std::filesystem::path folder) : folder(std::move(folder)) {}

  // path: of the URL, decoded, with its slash at the front; a path that ends in a slash stands for
  // the index.html below it.
  std::optional<StaticFile> read(std::string_view path) const;

 private:
  std::filesystem::path folder;
};

}  // namespace device

#endif
