#include "confutils/temporary_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
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
  if (!done) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

std::string folderOf(const std::filesystem::path& path) {
  return path.has_parent_path() ? path.parent_path().string() : ".";
}

// False where the file system has no locks.
bool lockWhole(int folder) {
  int result = 0;
  do {
    result = flock(folder, LOCK_EX);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool swapNames(const std::string& a, const std::string& b) {
  return renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) == 0;
}

constexpr std::string_view RANDOM_PART = "XXXXXX";

// What the names of all temporary files of a path begin with.
std::string prefixFor(const std::filesystem::path& path) {
  return "." + path.filename().string() + ".";
}

std::string templateFor(const std::filesystem::path& path) {
  return path.parent_path() / (prefixFor(path) + std::string(RANDOM_PART));
}

}  // namespace

TemporaryFile::TemporaryFile(const std::string& path)
    : path(path),
      folderPath(folderOf(path)),
      folder(open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
      temporaryPath(templateFor(path)) {
  check(folder.isOpen(), "Failed to open " + folderPath);
  // The lock ends with its process, however that ends: whatever is there now is nobody's.
  if (lockWhole(folder.get())) {
    removeRemains();
  }
  file = FileDescriptor(mkostemp(temporaryPath.data(), O_CLOEXEC));
  check(file.isOpen(), "Failed to create a file in " + folderPath);
}

TemporaryFile::~TemporaryFile() {
  file.reset();
  unlink(temporaryPath.c_str());
}

void TemporaryFile::setMode(mode_t mode) {
  check(fchmod(file.get(), mode) == 0, "Failed to set the mode of " + temporaryPath);
}

void TemporaryFile::write(std::string_view contents) {
  while (!contents.empty()) {
    const ssize_t written = ::write(file.get(), contents.data(), contents.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    check(written >= 0, "Failed to write " + temporaryPath);
    contents.remove_prefix(static_cast<size_t>(written));
  }
}

void TemporaryFile::removeRemains() const {
  const std::string prefix = prefixFor(path);
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folderPath, ignored)) {
    const std::string name = entry.path().filename();
    if (name.size() == prefix.size() + RANDOM_PART.size() && name.starts_with(prefix)) {
      unlink(entry.path().c_str());
    }
  }
}

void TemporaryFile::replace() {
  check(fsync(file.get()) == 0, "Failed to flush " + temporaryPath);
  const Taken_e taken = takeName();
  if (fsync(folder.get()) == 0) {
    return;
  }
  const int error = errno;
  giveNameBack(taken);
  throw std::system_error(error, std::generic_category(), "Failed to flush " + folderPath);
}

// A swap keeps the old file, under the temporary name. It would do so with a folder, too, which is
// to be refused.
TemporaryFile::Taken_e TemporaryFile::takeName() const {
  const auto old = std::filesystem::symlink_status(path);
  if (std::filesystem::exists(old) && !std::filesystem::is_directory(old)) {
    if (swapNames(temporaryPath, path)) {
      return Taken_e::swapped;
    }
    check(errno == EINVAL || errno == ENOSYS, "Failed to replace " + path);
  }
  check(rename(temporaryPath.c_str(), path.c_str()) == 0, "Failed to replace " + path);
  return std::filesystem::exists(old) ? Taken_e::replaced : Taken_e::free;
}

void TemporaryFile::giveNameBack(Taken_e taken) const {
  if (taken == Taken_e::swapped) {
    swapNames(temporaryPath, path);
  } else if (taken == Taken_e::free) {
    rename(path.c_str(), temporaryPath.c_str());
  }
}

}  // namespace confutils
