#include "app/api_version.h"

#include <syslog.h>

#include <optional>
#include <string_view>
#include <tuple>

#include "base/text.h"

// Some libc headers define these as macros.
#undef major
#undef minor

namespace {

std::optional<std::int32_t> parseNumber(std::string_view digits) {
  return digits.front() == '-' ? std::nullopt : text::toNumber<std::int32_t>(digits);
}

bool split(std::string_view text, std::int32_t& major, std::int32_t& minor) {
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos || point == 0 || point + 1 == text.size()) {
    return false;
  }
  const auto first = parseNumber(text.substr(0, point));
  const auto second = parseNumber(text.substr(point + 1));
  if (!first || !second) {
    return false;
  }
  major = *first;
  minor = *second;
  return true;
}

}  // namespace

API_Version::API_Version(const std::string& text) : text(text) {
  valid = convertVersionStrToInts(text, major, minor);
}

bool API_Version::operator==(const API_Version& other) const {
  return std::tie(major, minor) == std::tie(other.major, other.minor);
}

bool API_Version::operator<(const API_Version& other) const {
  return std::tie(major, minor) < std::tie(other.major, other.minor);
}

bool API_Version::operator<=(const API_Version& other) const {
  return !(other < *this);
}

bool API_Version::convertVersionStrToInts(const std::string& text, std::int32_t& major,
                                          std::int32_t& minor) {
  if (split(text, major, minor)) {
    return true;
  }
  syslog(LOG_WARNING, "unsupported format on version %s, it should be major.minor\n", text.c_str());
  return false;
}
