#include "ptz/bearing.h"

#include <algorithm>
#include <cmath>

#include "base/units.h"

namespace {

using units::FULL_TURN;
using units::HALF_TURN;

}  // namespace

double Bearing::normalize(double x) {
  if (std::abs(x) >= 2.0 * FULL_TURN) {
    x = std::fmod(x, FULL_TURN);
  }
  while (x < 0.0) {
    x += FULL_TURN;
  }
  while (x >= FULL_TURN) {
    x -= FULL_TURN;
  }
  return x;
}

double Bearing::shortestDiff(double a, double b) {
  double difference = a - b;
  if (difference < -HALF_TURN) {
    difference += FULL_TURN;
  }
  if (difference > HALF_TURN) {
    difference -= FULL_TURN;
  }
  return difference;
}

double Bearing::clockwiseDiff(double a, double b) {
  const double difference = normalize(b) - normalize(a);
  return difference < 0.0 ? difference + FULL_TURN : difference;
}

double Bearing::center(double a, double b) {
  const double low = std::min(a, b);
  double high = std::max(a, b);
  if (high - low > HALF_TURN) {
    high -= FULL_TURN;
  }
  const double middle = (low + high) / 2.0;
  return middle < 0.0 ? middle + FULL_TURN : middle;
}

void Bearing::bounds(std::vector<double> list, double& first, double& second) {
  if (!list.empty()) {
    const Arc arc = boundsInPlace(list);
    first = arc.first;
    second = arc.second;
  }
}

Bearing::Arc Bearing::boundsInPlace(std::span<double> list) {
  std::ranges::sort(list);
  Arc arc{.first = list.front(), .second = list.front()};
  double largestGap = 0.0;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const double successor = list[i + 1 < list.size() ? i + 1 : 0];
    const double gap = std::abs(clockwiseDiff(list[i], successor));
    if (gap > largestGap) {
      largestGap = gap;
      arc = {.first = successor, .second = list[i]};
    }
  }
  return arc;
}
