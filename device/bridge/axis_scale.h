#ifndef DEVICE_BRIDGE_AXIS_SCALE_H
#define DEVICE_BRIDGE_AXIS_SCALE_H

#include <optional>
#include <string>

#include "onvif_client/head_facts.h"

namespace device::bridge {

// How an axis' own numbers and its degrees belong together. Degrees are the head's, which may grow
// to the left. Arithmetic only.
struct AxisScale {
  onvif::Range numbers;  // of its generic space
  onvif::Range degrees;  // at the ends of those

  double degreesOf(double number) const;
  double numberOf(double angle) const;
  double perNumber() const;
};

// A scale that moving has shown, beside the one that was told.
struct MeasuredScale {
  AxisScale told;
  double perNumber = 0;  // degrees
  bool isBySpeed = false;
  std::optional<onvif::Range> degrees;  // at the ends of the numbers, where they follow from it
  double coarseness = 0;                // of the way: a place is told no finer than by that share
  double blur = 0;                      // degrees, likewise
  double reach = 0;  // degrees from where it was measured to the middle of what was told

  // By more than what such a measure may be off.
  bool isOtherThanTold() const;
};

// From two places, of each of which a number and its degrees are known: a and b. coarseness: of a
// place, in parts of the way between them. Nothing where it did not move, or where the one falls
// while the other grows.
std::optional<MeasuredScale> scaleByPlaces(const AxisScale& told, double numberA, double degreesA,
                                           double numberB, double degreesB, double coarseness = 0);

// Whether the numbers fall where the degrees grow.
bool isCountedBackwards(const AxisScale& told, double numberA, double degreesA, double numberB,
                        double degreesB);

// From how fast its numbers change at so many degrees a second. Where 0 degrees are stays.
std::optional<MeasuredScale> scaleBySpeed(const AxisScale& told, double degreesASecond,
                                          double numbersASecond);

// From where an axis stopped when it was sent to its ends, in degrees.
struct AxisEnds {
  onvif::Range announced;
  onvif::Range reached;

  bool isShort() const;
};

// Sentences for the user, without their full stop.
std::string wordsOf(const MeasuredScale& scale, const char* axis);
std::string wordsOf(const AxisEnds& ends, const char* axis);

}  // namespace device::bridge

#endif
