#include "onvif_server/onvif_faults.h"

#include <stdexcept>

#include "base/text.h"

namespace device::onvif {
namespace {

const std::set<std::string> OF_CAMERA = {"digest-only",      "clock-ahead", "foreign-addresses",
                                         "password-changed", "away",        "no-picture"};
const std::set<std::string> OF_HEAD = {"no-stop", "ignores-timeout", "always-moving",
                                       "late-status"};
const std::set<std::string> OF_OVERVIEW = {"small-packets", "loses-packets", "gzip",
                                           "no-deletion",   "pixels",        "bare-pixels",
                                           "renames",       "closes"};

}  // namespace

void OnvifFaults::set(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (!isKnown(name)) {
      throw std::runtime_error("There is no fault " + name);
    }
  }
  all = {names.begin(), names.end()};
}

std::vector<std::string> OnvifFaults::namesIn(const std::string& list) {
  const auto found = text::words(list, ",");
  return {found.begin(), found.end()};
}

bool OnvifFaults::isKnown(const std::string& name) const {
  const std::size_t colon = name.find(':');
  if (colon == std::string::npos) {
    return false;
  }
  const std::string place = name.substr(0, colon);
  const std::string fault = name.substr(colon + 1);
  if (place == "camera" || place == "head") {
    return (place == "head" ? OF_HEAD : OF_CAMERA).contains(fault);
  }
  for (int number = 1; number <= cameras; ++number) {
    if (place == "overview" + std::to_string(number)) {
      return OF_OVERVIEW.contains(fault);
    }
  }
  return false;
}

}  // namespace device::onvif
