#include "fuzz/fake_storage.h"

#include <cerrno>
#include <filesystem>

namespace {

bool s_works = true;

}  // namespace

void FakeStorage::write(const std::string& name, const std::string& contents) const {
  writeText(path(name), contents);
}

void FakeStorage::remove(const std::string& name) const {
  std::filesystem::remove(path(name));
}

std::string FakeStorage::read(const std::string& name) const {
  return readText(path(name));
}

std::size_t FakeStorage::fileCount() const {
  return static_cast<std::size_t>(folder.fileCount());
}

void FakeStorage::setWorking(bool isWorking) {
  s_works = isWorking;
}

extern "C" int fsync(int) {
  if (s_works) {
    return 0;
  }
  errno = ENOSPC;
  return -1;
}
