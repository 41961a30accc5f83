#include "bridge/axis_scale.h"

#include <cmath>

#include "base/text.h"
#include "base/units.h"

namespace device::bridge {

namespace {

using onvif::Range;

constexpr double MOST_OFF = 0.03;          // of a scale
constexpr double MOST_OFF_BY_SPEED = 0.1;  // heads keep their speeds less well than their places
constexpr double MOST_SHIFT = 1;           // degrees
constexpr double LEAST_SHORT = 0.5;        // degrees
constexpr double LEAST_TURN = 0.5;         // degrees, between two places
constexpr double FINEST = 100;             // parts of a degree that are kept
constexpr double FARTHEST = units::FULL_TURN;

double width(const Range& range) {
  return range.high - range.low;
}

double middle(const Range& range) {
  return (range.low + range.high) / 2;
}

double rounded(double degrees) {
  return std::round(degrees * FINEST) / FINEST;
}

std::optional<Range> kept(const Range& degrees) {
  const Range range{rounded(degrees.low), rounded(degrees.high)};
  const bool isPossible = range.isReal() && range.low >= -FARTHEST && range.high <= FARTHEST;
  return isPossible ? std::optional(range) : std::nullopt;
}

}  // namespace

double AxisScale::perNumber() const {
  return width(degrees) / width(numbers);
}

double AxisScale::degreesOf(double number) const {
  return degrees.low + (number - numbers.low) * perNumber();
}

double AxisScale::numberOf(double angle) const {
  return numbers.low + (angle - degrees.low) / perNumber();
}

bool MeasuredScale::isOtherThanTold() const {
  const double most = (isBySpeed ? MOST_OFF_BY_SPEED : MOST_OFF) + coarseness;
  const bool isScaleOther = std::abs(perNumber / told.perNumber() - 1) > most;
  if (isScaleOther || isBySpeed || !degrees) {
    return isScaleOther;
  }
  const double shift = units::wrapped(middle(*degrees) - middle(told.degrees));
  return std::abs(shift) > MOST_SHIFT + blur + most * reach;
}

bool isCountedBackwards(const AxisScale& told, double numberA, double degreesA, double numberB,
                        double degreesB) {
  const double turned = units::wrapped(degreesB - degreesA);
  const double counted = numberB - numberA;
  const double least = LEAST_TURN / told.perNumber();
  return std::abs(turned) >= LEAST_TURN && std::abs(counted) >= least && turned / counted < 0;
}

std::optional<MeasuredScale> scaleByPlaces(const AxisScale& told, double numberA, double degreesA,
                                           double numberB, double degreesB, double coarseness) {
  const double turned = units::wrapped(degreesB - degreesA);
  const double counted = numberB - numberA;
  const double least = LEAST_TURN / told.perNumber();
  if (std::abs(turned) < LEAST_TURN || std::abs(counted) < least || turned / counted <= 0) {
    return std::nullopt;
  }
  const double perNumber = turned / counted;
  return MeasuredScale{.told = told,
                       .perNumber = perNumber,
                       .isBySpeed = false,
                       .degrees = kept({degreesA + (told.numbers.low - numberA) * perNumber,
                                        degreesA + (told.numbers.high - numberA) * perNumber}),
                       .coarseness = coarseness,
                       .blur = coarseness * std::abs(turned),
                       .reach = std::abs(degreesA - middle(told.degrees))};
}

std::optional<MeasuredScale> scaleBySpeed(const AxisScale& told, double degreesASecond,
                                          double numbersASecond) {
  const double perNumber = degreesASecond / std::abs(numbersASecond);
  if (numbersASecond == 0 || !(perNumber > 0)) {
    return std::nullopt;
  }
  const double times = perNumber / told.perNumber();
  return MeasuredScale{.told = told,
                       .perNumber = perNumber,
                       .isBySpeed = true,
                       .degrees = kept({told.degrees.low * times, told.degrees.high * times}),
                       .coarseness = 0,
                       .blur = 0,
                       .reach = 0};
}

bool AxisEnds::isShort() const {
  return reached.low > announced.low + LEAST_SHORT || reached.high < announced.high - LEAST_SHORT;
}

std::string wordsOf(const MeasuredScale& scale, const char* axis) {
  std::string words = text::formatted(
      "Its %s turns by %.1f degrees for each of its own numbers%s; told are %.1f", axis,
      scale.perNumber, scale.isBySpeed ? " by its speed" : "", scale.told.perNumber());
  if (scale.isOtherThanTold() && scale.degrees) {
    words += text::formatted(
        ": what was told is wrong, its range is from %.1f to %.1f degrees, not from %.1f to %.1f",
        scale.degrees->low, scale.degrees->high, scale.told.degrees.low, scale.told.degrees.high);
  } else if (scale.isOtherThanTold()) {
    words += ": what was told is wrong";
  }
  return words;
}

std::string wordsOf(const AxisEnds& ends, const char* axis) {
  if (!ends.isShort()) {
    return text::formatted("Its %s comes to both of its ends, %.1f and %.1f degrees", axis,
                           ends.announced.low, ends.announced.high);
  }
  return text::formatted(
      "Its %s stops at %.1f and %.1f degrees, short of the %.1f and %.1f that it should reach; it "
      "is sent no further",
      axis, ends.reached.low, ends.reached.high, ends.announced.low, ends.announced.high);
}

}  // namespace device::bridge
