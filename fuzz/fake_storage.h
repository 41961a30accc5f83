#ifndef FUZZ_FAKE_STORAGE_H
#define FUZZ_FAKE_STORAGE_H

#include <cstddef>
#include <string>

#include "tests/support/temporary_folder.h"

// A folder in memory for the files of one program. Flushing them to storage, replaced at link time,
// costs nothing, and fails where that is wanted.
class FakeStorage {
 public:
  std::string path(const std::string& name) const { return folder.path(name); }
  void write(const std::string& name, const std::string& contents) const;
  void remove(const std::string& name) const;

  // Empty when there is no such file.
  std::string read(const std::string& name) const;
  std::size_t fileCount() const;

  // Whether files can be brought to storage.
  static void setWorking(bool isWorking);

 private:
  TemporaryFolder folder{TemporaryFolder::memory()};
};

#endif
