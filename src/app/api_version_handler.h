#ifndef APP_API_VERSION_HANDLER_H
#define APP_API_VERSION_HANDLER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "app/api_version.h"

// The versions that one side of a conversation speaks, sorted ascending (stable). A value;
// immutable after construction, so it may be read from any thread.
class API_VersionHandler {
 public:
  API_VersionHandler(const char* const* texts, std::size_t count);

  // A version is spoken when it is valid and one of the same major number and the same or a higher
  // minor number is in the list.
  bool isSupported(const API_Version& version) const;

  // The entry of that major number with the highest minor number, the first of equal ones; invalid
  // when there is none.
  API_Version findHighestSupportedVersion(std::int32_t major) const;
  API_Version getHighestSupportedVersion(std::int32_t major) const;

  // The highest entry of all; invalid when the list is empty.
  API_Version getHighestSupportedVersion() const;

  // The entries that a service of the given version can speak: the same major number and no higher
  // minor number, highest first. Empty for an invalid version.
  std::vector<API_Version> getSupportedVersions(const API_Version& version) const;

  const std::vector<API_Version>& getVersions() const { return versions; }

  // All versions, separated by ", ".
  std::string toString() const;

 private:
  std::vector<API_Version> versions;
};

#endif
