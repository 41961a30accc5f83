#include "platform/file_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace {

FileCalls* s_current = nullptr;

bool isFolder(int file) {
  struct stat status;
  return fstat(file, &status) == 0 && S_ISDIR(status.st_mode);
}

bool isRegular(int file) {
  struct stat status;
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

bool interrupted() {
  if (s_current->interruptions == 0) {
    return false;
  }
  --s_current->interruptions;
  errno = EINTR;
  return true;
}

}  // namespace

FileCalls::FileCalls() {
  s_current = this;
}

FileCalls::~FileCalls() {
  s_current = nullptr;
}

bool FileCalls::enter(const std::string& call) {
  if (log.empty() || log.back() != call) {
    log.push_back(call);
  }
  if (failing != call) {
    return true;
  }
  errno = error;
  return false;
}

extern "C" ssize_t write(int file, const void* data, size_t size) {
  if (s_current != nullptr && isRegular(file)) {
    if (!s_current->enter("write") || interrupted()) {
      return -1;
    }
    size = std::min(size, s_current->longestWrite);
  }
  return syscall(SYS_write, file, data, size);
}

extern "C" int fsync(int file) {
  if (s_current != nullptr && !s_current->enter(isFolder(file) ? "flush folder" : "flush file")) {
    return -1;
  }
  return static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                         unsigned flags) noexcept {
  if (s_current != nullptr && !s_current->enter("rename")) {
    return -1;
  }
  if (s_current != nullptr && !s_current->exchangesNames && (flags & RENAME_EXCHANGE) != 0) {
    errno = EINVAL;
    return -1;
  }
  return static_cast<int>(syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

extern "C" int rename(const char* from, const char* to) noexcept {
  if (s_current != nullptr && !s_current->enter("rename")) {
    return -1;
  }
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
