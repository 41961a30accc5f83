#include "ptzmath/mounting.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>

#include "platform/owners.h"

namespace ptzmath {
namespace {

std::optional<double> numberIn(const char* text) {
  char* end = nullptr;
  const double number = g_ascii_strtod(text, &end);
  if (end == text || *end != '\0' || !std::isfinite(number)) {
    return std::nullopt;
  }
  return number;
}

struct Bounds {
  double low;
  double high;
};

constexpr Bounds ANY = {-std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
constexpr Bounds DISTORTIONS = {-1000, 1000};
constexpr Bounds OFFSETS = {-200, 200};  // metres
constexpr Bounds HEIGHTS = {0.1, 200};   // metres

// One channel's parameters.
class Reader {
 public:
  Reader(const ParameterPtr& store, int channel)
      : store(store), group("root.PTZ.RemoteCenter.C" + std::to_string(channel) + '.') {}

  // Nothing when there is none; then it is no fault.
  std::optional<double> readIfTold(const char* name, const Bounds& bounds) {
    char* value = nullptr;
    if (!ov_parameter_get(store.get(), (group + name).c_str(), &value, nullptr)) {
      return std::nullopt;
    }
    const GTextPtr text(value);
    const std::optional<double> number = numberIn(text.get());
    if (!number || *number < bounds.low || *number > bounds.high) {
      isFaulty = true;
      return std::nullopt;
    }
    return number;
  }

  double read(const char* name, const Bounds& bounds) {
    const std::optional<double> number = readIfTold(name, bounds);
    isFaulty |= !number;
    return number.value_or(0);
  }

  // All of it or nothing.
  std::optional<Stand> readStand() {
    const std::array numbers = {readIfTold("OffsetX", OFFSETS), readIfTold("OffsetY", OFFSETS),
                                readIfTold("Height", HEIGHTS), readIfTold("HeadHeight", HEIGHTS)};
    const auto told = std::ranges::count_if(numbers, [](const auto& number) { return !!number; });
    if (told == 0) {
      return std::nullopt;
    }
    isFaulty |= told < static_cast<int>(numbers.size());
    return Stand{numbers[0].value_or(0), numbers[1].value_or(0), numbers[2].value_or(1),
                 numbers[3].value_or(1)};
  }

  bool hasFault() const { return isFaulty; }

 private:
  const ParameterPtr& store;
  std::string group;
  bool isFaulty = false;
};

}  // namespace

std::optional<Mounting> readMounting(int channel) {
  const ParameterPtr store(ov_parameter_new("ptzmath", nullptr));
  if (!store) {
    return std::nullopt;
  }

  // What need not be told first: a store that goes away meanwhile leaves the rest unread.
  Reader reader(store, channel);
  Mounting mounting;
  mounting.stand = reader.readStand();
  mounting.distortion = reader.readIfTold("Distortion", DISTORTIONS).value_or(0);
  mounting.pan = reader.read("Pan", ANY);
  mounting.tilt = reader.read("Tilt", ANY);
  mounting.roll = reader.read("Roll", ANY);
  return reader.hasFault() ? std::nullopt : std::optional(mounting);
}

}  // namespace ptzmath
