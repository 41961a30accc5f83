// Descriptors of this process.
#ifndef TESTS_SUPPORT_OPEN_DESCRIPTORS_H
#define TESTS_SUPPORT_OPEN_DESCRIPTORS_H

#include <fcntl.h>

#include <cstddef>
#include <filesystem>
#include <iterator>

inline bool isOpen(int fd) {
  return fcntl(fd, F_GETFD) != -1;
}

// How many are open, and the one that they are counted by.
inline std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

#endif
