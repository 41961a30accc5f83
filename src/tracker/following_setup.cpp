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

using Answer = std::optional<std::string>;  // nothing when the question was lost

Answer askAny(const std::string& name) {
  return utils::askParameter(name, LONGEST_VALUE);
}

Answer ask(const std::string& name) {
  return askAny("SentrelVideo." + name);
}

// The default when there is no such parameter or no such number, what was when it is not answered.
template <typename Number>
Number readNumber(const std::string& name, const Range& range, Number usual, Number before) {
  const Answer text = ask(name);
  if (!text) {
    syslog(LOG_WARNING, "SentrelVideo.%s is not answered, it stays as it was.\n", name.c_str());
    return before;
  }
  if (text->empty()) {
    return usual;
  }
  const auto value = text::toNumber<double>(*text);
  // What is no number is in no range.
  if (!value || !(*value >= range.low && *value <= range.high)) {
    syslog(LOG_WARNING, "SentrelVideo.%s is no number from %g to %g, taking the default.\n",
           name.c_str(), range.low, range.high);
    return usual;
  }
  return *value;
}

// Nothing when it is not answered.
std::optional<std::size_t> numberOfCameras() {
  const Answer text = askAny("ImageSource.NbrOfSources");
  if (!text) {
    return std::nullopt;
  }
  const auto count = text::leadingNumber<std::size_t>(*text);
  return count ? std::clamp<std::size_t>(count->value, 1, Installation::MOST_CAMERAS) : 1;
}

}  // namespace

std::optional<bool> FollowingSetup::isPredictive() {
  const Answer way = ask("Following");
  // Every device has a product number: without one nothing can be read at the moment.
  if (!way || (way->empty() && askAny("Brand.ProdNbr").value_or("").empty())) {
    return std::nullopt;
  }
  return *way == "predictive";
}

std::optional<std::string> FollowingSetup::identificationMark() {
  return ask("Identify");
}

Installation FollowingSetup::installation(const Installation& before) {
  Installation told;
  told.mastHeight = readNumber("MastHeight", MAST_HEIGHT, told.mastHeight, before.mastHeight);
  told.statusAge = readNumber("StatusAge", STATUS_AGE, told.statusAge, before.statusAge);
  const auto cameras = numberOfCameras();
  if (!cameras) {
    told.offsets = before.offsets;
    return told;
  }
  for (std::size_t i = 0; i < *cameras; ++i) {
    const std::string camera = "Overview.C" + std::to_string(i + 1);
    const Installation::Offset& known = before.offsets[i];
    told.offsets[i] = {readNumber(camera + ".OffsetX", OFFSET, 0.0, known.x),
                       readNumber(camera + ".OffsetY", OFFSET, 0.0, known.y)};
  }
  return told;
}
