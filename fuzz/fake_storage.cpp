#include "fuzz/fake_storage.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

bool s_works = true;

fs::path memory() {
  const fs::path shared = "/dev/shm";
  return fs::is_directory(shared) ? shared : fs::temp_directory_path();
}

}  // namespace

FakeStorage::FakeStorage() {
  std::string name = (memory() / "sentrel-fuzz-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary folder");
  }
  folder = name;
}

FakeStorage::~FakeStorage() {
  fs::remove_all(folder);
}

void FakeStorage::write(const std::string& name, const std::string& contents) const {
  std::ofstream(path(name), std::ios::binary) << contents;
}

void FakeStorage::remove(const std::string& name) const {
  fs::remove(path(name));
}

std::string FakeStorage::read(const std::string& name) const {
  std::ifstream file(path(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t FakeStorage::fileCount() const {
  const fs::directory_iterator files(folder);
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
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
