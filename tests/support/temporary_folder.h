#ifndef TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

// An empty folder that goes away with its contents.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(
      const std::filesystem::path& where = std::filesystem::temp_directory_path()) {
    std::string name = (where / "sentrel-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no temporary folder");
    }
    folder = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  // Where files cost no disk, if the machine has such a place.
  static std::filesystem::path memory() {
    const std::filesystem::path shared = "/dev/shm";
    return std::filesystem::is_directory(shared) ? shared : std::filesystem::temp_directory_path();
  }

  const std::filesystem::path& get() const { return folder; }

  // The path of a file in it.
  std::string path(const std::string& name) const { return (folder / name).string(); }
  std::string operator/(const std::string& name) const { return path(name); }

  int fileCount() const {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder),
                                          std::filesystem::directory_iterator()));
  }

 private:
  std::filesystem::path folder;
};

inline void writeText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string readText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

#endif
