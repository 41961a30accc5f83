#ifndef PLATFORM_HOST_CONFUTILS_TEMPORARY_FILE_H
#define PLATFORM_HOST_CONFUTILS_TEMPORARY_FILE_H

#include <sys/types.h>

#include <string>
#include <string_view>

#include "base/file_descriptor.h"

namespace confutils {

// A file that takes the place of another in the same folder, or leaves no trace. Every operation
// throws std::system_error when the system refuses it.
class TemporaryFile {
 public:
  // Creates ".<name>.XXXXXX" beside the path, readable by the owner alone. One at a time in a
  // folder: waits until no other thread or process has one there. What is left of those whose
  // process died is removed.
  explicit TemporaryFile(const std::string& path);
  // Removes what has the temporary name: the file unless it is in place, else the one it replaced.
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  void setMode(mode_t mode);
  void write(std::string_view contents);
  // Flushes the contents to storage, gives the file the path's name and flushes the folder. When
  // the last of these fails, the name goes back to the file that had it, or to none; only where the
  // file system cannot exchange two names, the new file keeps it.
  void replace();

 private:
  // How the path's name was come by.
  enum class Taken_e {
    swapped,   // the file that had it has the temporary name
    replaced,  // the file that had it is gone
    free       // nobody had it
  };

  void removeRemains() const;
  Taken_e takeName() const;
  void giveNameBack(Taken_e taken) const;

  const std::string path;
  const std::string folderPath;
  const FileDescriptor folder;  // with the lock, where the file system has locks
  std::string temporaryPath;
  FileDescriptor file;
};

}  // namespace confutils

#endif
