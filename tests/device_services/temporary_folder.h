#ifndef DEVICE_SERVICES_TEMPORARY_FOLDER_H
#define DEVICE_SERVICES_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <string>

namespace device {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "device-XXXXXX").string();
    path = mkdtemp(name.data());
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  std::string operator/(const std::string& name) const { return (path / name).string(); }

 private:
  std::filesystem::path path;
};

}  // namespace device

#endif
