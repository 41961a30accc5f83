// Watches and disturbs the calls that bring a file to storage: while one of these objects exists,
// the test program's own write, fsync, rename and renameat2 take the place of the C library's.
#ifndef TESTS_PLATFORM_FILE_CALLS_H
#define TESTS_PLATFORM_FILE_CALLS_H

#include <cstddef>
#include <string>
#include <vector>

class FileCalls {
 public:
  FileCalls();
  ~FileCalls();
  FileCalls(const FileCalls&) = delete;
  FileCalls& operator=(const FileCalls&) = delete;

  // "write", "flush file", "rename" and "flush folder", equal neighbours once.
  std::vector<std::string> log;
  // What the call of that name fails with; none when empty.
  std::string failing;
  int error = 0;
  // The most that one write takes, and how many writes a signal interrupts first.
  size_t longestWrite = static_cast<size_t>(-1);
  int interruptions = 0;
  // Whether the file system can exchange two names.
  bool exchangesNames = true;

  // Notes the call. False, with errno set, when it is to fail.
  bool enter(const std::string& call);
};

#endif
