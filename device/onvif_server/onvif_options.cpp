#include "onvif_server/onvif_options.h"

#include <string_view>

namespace device::onvif {
namespace {

// The options are those of the web server under other names.
std::string underOwnNames(std::string text) {
  constexpr std::string_view OPTION = "--";
  constexpr std::string_view OWN = "--onvif-";
  for (std::size_t at = text.find(OPTION); at != std::string::npos;
       at = text.find(OPTION, at + OWN.size())) {
    text.replace(at, OPTION.size(), OWN);
  }
  return text;
}

}  // namespace

std::optional<OnvifOptions> readOnvifOptions(const RawOnvifOptions& raw) {
  if (raw.port == nullptr) {
    if (raw.address != nullptr || raw.user != nullptr || raw.passwordFile != nullptr ||
        raw.faults != nullptr) {
      throw WebOptionError(
          "--onvif-listen, --onvif-user, --onvif-password-file and --onvif-faults need --onvif");
    }
    return std::nullopt;
  }
  try {
    const WebOptions options = readWebOptions({.address = raw.address,
                                               .port = raw.port,
                                               .user = raw.user,
                                               .passwordFile = raw.passwordFile});
    return OnvifOptions{
        options.address, *options.port, options.user,
        raw.faults != nullptr ? std::optional<std::string>(raw.faults) : std::nullopt};
  } catch (const WebOptionError& error) {
    const std::string text = underOwnNames(error.what());
    constexpr std::string_view PORT = "--onvif-port";
    throw WebOptionError(text.starts_with(PORT) ? "--onvif" + text.substr(PORT.size()) : text);
  }
}

}  // namespace device::onvif
