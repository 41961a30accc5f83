#include "confutils.h"

#include <sys/stat.h>

#include <cstring>
#include <exception>
#include <string_view>
#include <system_error>

#include "confutils/temporary_file.h"

namespace {

constexpr mode_t MODE_OF_NEW_FILE = 0644;
constexpr mode_t PERMISSIONS = 07777;

mode_t modeFor(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 ? status.st_mode & PERMISSIONS : MODE_OF_NEW_FILE;
}

std::string_view textOf(const char* contents, gssize length) {
  return {contents, length < 0 ? std::strlen(contents) : static_cast<size_t>(length)};
}

void replaceContents(const char* path, std::string_view contents) {
  confutils::TemporaryFile file(path);
  file.setMode(modeFor(path));
  file.write(contents);
  file.replace();
}

}  // namespace

gboolean confutils_set_file_contents_with_sync(const char* path, const char* contents,
                                               gssize length, GError** error) {
  try {
    replaceContents(path, textOf(contents, length));
    return TRUE;
  } catch (const std::system_error& failure) {
    g_set_error_literal(error, G_FILE_ERROR, g_file_error_from_errno(failure.code().value()),
                        failure.what());
  } catch (const std::exception& failure) {
    g_set_error_literal(error, G_FILE_ERROR, G_FILE_ERROR_FAILED, failure.what());
  }
  return FALSE;
}
