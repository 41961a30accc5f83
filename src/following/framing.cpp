#include "following/framing.h"

#include <algorithm>
#include <cmath>

#include "following/units.h"

namespace following {

namespace {

// Of the picture's height: 0.4 in spite of 15 % of error in the zoom's scale and of leaning.
constexpr double FILLED_HEIGHT = 0.55;
// Of the picture's width, for groups.
constexpr double FILLED_WIDTH = 0.8;
constexpr double ERROR_SHARE = 0.8;
// The magnification asked for stands while the wanted one is between these shares of it.
constexpr double LEAST_CHANGE = 0.96;
constexpr double GREATEST_CHANGE = 1.06;
constexpr double LARGEST_EXTENT = 170.0;  // deg

// The tangent of half an extent.
double halfTangent(double extent) {
  return std::tan(radians(std::clamp(extent, 0.0, LARGEST_EXTENT)) / 2.0);
}

}  // namespace

double fillingMagnification(const Lens& lens, double width, double height) {
  const double half = std::max(lens.aspect * halfTangent(height) / FILLED_HEIGHT,
                               halfTangent(width) / FILLED_WIDTH);
  return lens.maxField / (2.0 * degrees(std::atan(half)));
}

double roomyMagnification(const Lens& lens, double width, double height, double error,
                          double deviation) {
  const double margin = ERROR_SHARE * error + deviation;
  const double half = std::max(lens.aspect * (height / 2.0 + margin), width / 2.0 + margin);
  return lens.maxField / (2.0 * half);
}

Framing::Framing(const Lens& lens) : lens(lens) {}

std::optional<double> Framing::step(double seconds, const Subject& subject, double error,
                                    double gap) {
  const double kept = recentError * std::exp(-std::max(seconds, 0.0) / FORGETTING);
  recentError = std::isfinite(error) ? std::max(std::abs(error), kept) : kept;
  if (!std::isfinite(subject.width) || !std::isfinite(subject.height) ||
      !std::isfinite(subject.deviation)) {
    return std::nullopt;
  }
  double wanted = std::min(
      fillingMagnification(lens, subject.width, subject.height),
      roomyMagnification(lens, subject.width, subject.height, recentError, subject.deviation));
  wanted = std::clamp(wanted, 1.0, lens.maxMagnification());
  if (!(gap <= LONGEST_GAP)) {
    wanted = std::min(wanted, magnification);
  }
  const double change = wanted / magnification;
  if (change >= LEAST_CHANGE && change <= GREATEST_CHANGE) {
    return std::nullopt;
  }
  magnification = wanted;
  return magnification;
}

void Framing::reset(double magnification) {
  this->magnification =
      std::isfinite(magnification) ? std::clamp(magnification, 1.0, lens.maxMagnification()) : 1.0;
  recentError = 0.0;
}

double Framing::position() const {
  return (magnification - 1.0) / (lens.maxMagnification() - 1.0);
}

}  // namespace following
