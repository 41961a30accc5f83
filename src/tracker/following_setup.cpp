#include "tracker/following_setup.h"

#include <syslog.h>

#include <algorithm>
#include <cmath>

#include "base/text.h"
#include "events/parameter.h"

namespace {

constexpr std::size_t LONGEST_VALUE = 63;

struct Range {
  double low;
  double high;
};
constexpr Range MAST_HEIGHT{0.5, 200.0};  // m
constexpr Range OFFSET{-200.0, 200.0};    // m
constexpr Range STATUS_AGE{0.0, 5.0};     // s

std::string readAny(const std::string& name) {
  return utils::readParameter(name, LONGEST_VALUE);
}

std::string read(const std::string& name) {
  return readAny("SentrelVideo." + name);
}

// None when there is no such parameter or no such number.
std::optional<double> readNumber(const std::string& name, const Range& range) {
  const std::string text = read(name);
  if (text.empty()) {
    return std::nullopt;
  }
  const auto value = text::toNumber<double>(text);
  // What is no number is in no range.
  if (!value || !(*value >= range.low && *value <= range.high)) {
    syslog(LOG_WARNING, "SentrelVideo.%s is no number from %g to %g, taking the default.\n",
           name.c_str(), range.low, range.high);
    return std::nullopt;
  }
  return value;
}

std::size_t numberOfCameras() {
  const std::string text = readAny("ImageSource.NbrOfSources");
  const auto count = text::leadingNumber<std::size_t>(text);
  return count ? std::clamp<std::size_t>(count->value, 1, Installation::MOST_CAMERAS) : 1;
}

}  // namespace

std::optional<bool> FollowingSetup::isPredictive() {
  const std::string way = read("Following");
  // Every device has a product number: without one nothing can be read at the moment.
  if (way.empty() && readAny("Brand.ProdNbr").empty()) {
    return std::nullopt;
  }
  return way == "predictive";
}

std::string FollowingSetup::identificationMark() {
  return read("Identify");
}

Installation FollowingSetup::installation() {
  Installation told;
  told.mastHeight = readNumber("MastHeight", MAST_HEIGHT).value_or(told.mastHeight);
  told.statusAge = readNumber("StatusAge", STATUS_AGE);
  const std::size_t cameras = numberOfCameras();
  for (std::size_t i = 0; i < cameras; ++i) {
    const std::string camera = "Overview.C" + std::to_string(i + 1);
    told.offsets[i] = {readNumber(camera + ".OffsetX", OFFSET).value_or(0.0),
                       readNumber(camera + ".OffsetY", OFFSET).value_or(0.0)};
  }
  return told;
}
