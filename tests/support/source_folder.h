// Where the sources of this program stand.
#ifndef TESTS_SUPPORT_SOURCE_FOLDER_H
#define TESTS_SUPPORT_SOURCE_FOLDER_H

#include <filesystem>

// The top folder of the sources.
inline std::filesystem::path sourceFolder() {
  return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
}

inline std::filesystem::path modelsFolder() {
  return sourceFolder() / "device" / "models";
}

// Recordings of real people that lie beside the sources on some machines only.
inline std::filesystem::path recordingsFolder() {
  return sourceFolder() / ".." / "shared" / "data" / "pedestrians";
}

#endif
