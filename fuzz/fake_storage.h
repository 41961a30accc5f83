#ifndef FUZZ_FAKE_STORAGE_H
#define FUZZ_FAKE_STORAGE_H

#include <cstddef>
#include <filesystem>
#include <string>

// A folder in memory for the files of one program. Flushing them to storage, replaced at link time,
// costs nothing, and fails where that is wanted.
class FakeStorage {
 public:
  FakeStorage();
  FakeStorage(const FakeStorage&) = delete;
  FakeStorage& operator=(const FakeStorage&) = delete;
  ~FakeStorage();

  std::string path(const std::string& name) const { return (folder / name).string(); }
  void write(const std::string& name, const std::string& contents) const;
  void remove(const std::string& name) const;

  // Empty when there is no such file.
  std::string read(const std::string& name) const;
  std::size_t fileCount() const;

  // Whether files can be brought to storage.
  static void setWorking(bool isWorking);

 private:
  std::filesystem::path folder;
};

#endif
