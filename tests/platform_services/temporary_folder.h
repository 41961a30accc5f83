// A folder of the test's own that goes away with it.
#ifndef PLATFORM_SERVICES_TEMPORARY_FOLDER_H
#define PLATFORM_SERVICES_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <string>

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "services_XXXXXX";
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string operator/(const char* name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

#endif
