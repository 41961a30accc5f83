#ifndef CONFIG_STATUS_EXCEPTION_H
#define CONFIG_STATUS_EXCEPTION_H

#include <cstdint>
#include <stdexcept>
#include <string>

// How a request or a configuration fared. The API tells its callers a code for each.
enum class StatusCode_e : std::int32_t {
  ok = 0,
  malformed = 2,  // no well-formed JSON
  missingParameter = 4,
  invalidParameter = 8,
  contradiction = 16,  // parts of the configuration contradict each other
  saveFailed = 32,
  fileNotReadable = 64,
  methodNotFound = 128,
  internalError = 256,
  versionNotSupported = 512,
  productNotSupported = 1024
};

// The one exception of configuration parsing and of API checks.
class StatusException : public std::runtime_error {
 public:
  StatusException(const std::string& message, StatusCode_e status)
      : std::runtime_error(message), status(status) {}

  StatusCode_e getStatus() const { return status; }

 private:
  StatusCode_e status;
};

// Throws a StatusException when the condition holds.
inline void throwIf(bool condition, const std::string& message, StatusCode_e status) {
  if (condition) {
    throw StatusException(message, status);
  }
}

#endif
