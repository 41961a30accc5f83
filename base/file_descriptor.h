// Owner of a file descriptor.
#ifndef BASE_FILE_DESCRIPTOR_H
#define BASE_FILE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      reset();
      fd = other.release();
    }
    return *this;
  }
  ~FileDescriptor() { reset(); }

  int get() const { return fd; }
  bool isOpen() const { return fd >= 0; }

  // Gives the descriptor up to the caller; -1 when there is none.
  int release() { return std::exchange(fd, -1); }

  void reset() {
    if (fd >= 0) {
      close(release());
    }
  }

 private:
  int fd = -1;
};

#endif
