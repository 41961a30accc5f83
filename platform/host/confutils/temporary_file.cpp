#include "confutils/temporary_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace confutils {
namespace {

void check(bool done, const std::string& what) {
  if (!done) throw std::system_error(errno, std::generic_category(), what);
}

std::string folderOf(const std::filesystem::path& path) {
  return path.has_parent_path() ? path.parent_path().string() : ".";
}

std::string templateFor(const std::filesystem::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".XXXXXX");
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return number_; }

 private:
  const int number_;
};

}  // namespace

TemporaryFile::TemporaryFile(const std::string& path)
    : path_(path), folder_(folderOf(path)), temporaryPath_(templateFor(path)) {
  file_ = mkostemp(temporaryPath_.data(), O_CLOEXEC);
  check(file_ >= 0, "Failed to create a file in " + folder_);
}

TemporaryFile::~TemporaryFile() {
  close(file_);
  if (!temporaryPath_.empty()) unlink(temporaryPath_.c_str());
}

void TemporaryFile::setMode(mode_t mode) {
  check(fchmod(file_, mode) == 0, "Failed to set the mode of " + temporaryPath_);
}

void TemporaryFile::write(std::string_view contents) {
  while (!contents.empty()) {
    const ssize_t written = ::write(file_, contents.data(), contents.size());
    if (written < 0 && errno == EINTR) continue;
    check(written >= 0, "Failed to write " + temporaryPath_);
    contents.remove_prefix(static_cast<size_t>(written));
  }
}

void TemporaryFile::replace() {
  const Descriptor folder(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  check(folder.get() >= 0, "Failed to open " + folder_);
  check(fsync(file_) == 0, "Failed to flush " + temporaryPath_);
  check(rename(temporaryPath_.c_str(), path_.c_str()) == 0, "Failed to replace " + path_);
  temporaryPath_.clear();
  check(fsync(folder.get()) == 0, "Failed to flush " + folder_);
}

}  // namespace confutils
