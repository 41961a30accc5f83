#include "app/api_version_handler.h"

#include <algorithm>
#include <iterator>

API_VersionHandler::API_VersionHandler(const char* const* texts, std::size_t count) {
  versions.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    versions.emplace_back(texts[i]);
  }
  std::ranges::stable_sort(versions, [](const auto& a, const auto& b) { return a < b; });
}

bool API_VersionHandler::isSupported(const API_Version& version) const {
  if (!version.isValid()) {
    return false;
  }
  const API_Version highest = findHighestSupportedVersion(version.getMajor());
  return highest.isValid() && version.getMinor() <= highest.getMinor();
}

API_Version API_VersionHandler::findHighestSupportedVersion(std::int32_t major) const {
  API_Version highest;
  for (const API_Version& version : versions) {
    if (!version.isValid() || version.getMajor() != major) {
      continue;
    }
    if (!highest.isValid() || highest.getMinor() < version.getMinor()) {
      highest = version;
    }
  }
  return highest;
}

API_Version API_VersionHandler::getHighestSupportedVersion(std::int32_t major) const {
  return findHighestSupportedVersion(major);
}

API_Version API_VersionHandler::getHighestSupportedVersion() const {
  return versions.empty() ? API_Version() : versions.back();
}

std::vector<API_Version> API_VersionHandler::getSupportedVersions(
    const API_Version& version) const {
  std::vector<API_Version> supported;
  if (!version.isValid()) {
    return supported;
  }
  std::copy_if(versions.rbegin(), versions.rend(), std::back_inserter(supported),
               [&version](const API_Version& own) {
                 return own.isValid() && own.getMajor() == version.getMajor() && own <= version;
               });
  return supported;
}

std::string API_VersionHandler::toString() const {
  std::string text;
  for (const API_Version& version : versions) {
    text += (text.empty() ? "" : ", ") + version.toString();
  }
  return text;
}
