#include "web_server/origin_check.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

#include "base/text.h"
#include "web_server/web_options.h"

namespace device {

namespace {

constexpr std::string_view SCHEME = "http://";
constexpr std::uint16_t HTTP_PORT = 80;
constexpr std::array<std::string_view, 3> LOOPBACK_NAMES = {"localhost", "127.0.0.1", "::1"};

struct Authority {
  std::string name;  // lower case, without brackets
  std::uint16_t port = HTTP_PORT;

  bool operator==(const Authority&) const = default;
};

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower;
}

// NAME, NAME:PORT, [ADDRESS] or [ADDRESS]:PORT.
std::optional<Authority> readAuthority(std::string_view text) {
  const bool bracketed = text.starts_with('[');
  const std::size_t end = bracketed ? text.find(']') : std::min(text.find(':'), text.size());
  if (end == std::string_view::npos) {
    return std::nullopt;
  }
  Authority authority{lowerCase(bracketed ? text.substr(1, end - 1) : text.substr(0, end))};
  constexpr std::string_view FORBIDDEN = "/?#@\\, \t";
  if (authority.name.empty() || authority.name.find_first_of(FORBIDDEN) != std::string::npos) {
    return std::nullopt;
  }
  text.remove_prefix(bracketed ? end + 1 : end);
  if (text.empty()) {
    return authority;
  }
  if (!text.starts_with(':')) {
    return std::nullopt;
  }
  text.remove_prefix(1);
  const auto port = text::toNumber<decltype(Authority::port)>(text);
  authority.port = port.value_or(authority.port);
  return port ? std::optional(authority) : std::nullopt;
}

std::optional<Authority> readOrigin(std::string_view text) {
  if (!lowerCase(text.substr(0, SCHEME.size())).starts_with(SCHEME)) {
    return std::nullopt;
  }
  return readAuthority(text.substr(SCHEME.size()));
}

}  // namespace

OriginCheck::OriginCheck(std::string ownAddress, std::uint16_t port)
    : address(std::move(ownAddress)), port(port), anyName(!isLoopback(address)) {}

bool OriginCheck::isAllowed(const char* host, const char* origin) const {
  if (host == nullptr) {
    return false;
  }
  const std::optional<Authority> own = readAuthority(host);
  if (!own || own->port != port || !isOwnHost(own->name)) {
    return false;
  }
  return origin == nullptr || readOrigin(origin) == own;
}

bool OriginCheck::isOwnHost(const std::string& name) const {
  return anyName || name == address || std::ranges::count(LOOPBACK_NAMES, name) > 0;
}

}  // namespace device
