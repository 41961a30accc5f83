#ifndef TESTS_SRC_CONFIG_TEMPORARY_FOLDER_H
#define TESTS_SRC_CONFIG_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// An empty folder that goes away with its contents.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "sentrel-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no temporary folder");
    }
    folder = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(folder); }

  std::string path(const std::string& name) const { return (folder / name).string(); }

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
