#include "world/visibility.h"

#include <algorithm>
#include <cmath>

namespace device {
namespace {

constexpr int ROWS = 10;
constexpr int COLUMNS = 3;
constexpr double BODY_WIDTH = 0.5;  // metres
constexpr double BODY_DEPTH = 0.3;  // metres
constexpr double BESIDE = 1.0;      // metres; who is farther from the line of sight hides nobody

// How many points of a row are seen.
int seenInRow(const SpacePoint& lens, const Person& person, double height,
              std::span<const Block> blocks) {
  const double distance = std::hypot(person.position.x - lens.x, person.position.y - lens.y);
  const double acrossX = distance > 0 ? (person.position.y - lens.y) / distance : 1;
  const double acrossY = distance > 0 ? -(person.position.x - lens.x) / distance : 0;
  int seen = 0;
  for (int column = 0; column < COLUMNS; ++column) {
    const double across = BODY_WIDTH * ((column + 0.5) / COLUMNS - 0.5);
    const SpacePoint point{person.position.x + across * acrossX,
                           person.position.y + across * acrossY, height};
    const bool isHidden = std::any_of(blocks.begin(), blocks.end(), [&](const Block& block) {
      return hides(block, lens, point);
    });
    seen += isHidden ? 0 : 1;
  }
  return seen;
}

}  // namespace

Visibility visibilityOf(const SpacePoint& lens, const Person& person,
                        std::span<const Block> blocks) {
  if (blocks.empty()) {
    return {.share = 1, .low = 0, .high = person.height};
  }
  Visibility visible{.share = 0, .low = person.height, .high = 0};
  int points = 0;
  for (int row = 0; row < ROWS; ++row) {
    const int seen = seenInRow(lens, person, person.height * (row + 0.5) / ROWS, blocks);
    if (seen > 0) {
      visible.low = std::min(visible.low, person.height * row / ROWS);
      visible.high = person.height * (row + 1) / ROWS;
    }
    points += seen;
  }
  visible.share = static_cast<double>(points) / (ROWS * COLUMNS);
  return visible;
}

Block blockOf(const Person& person) {
  return {.middle = person.position,
          .width = BODY_WIDTH,
          .depth = BODY_DEPTH,
          .height = person.height,
          .turn = directionOf({person.position.x, person.position.y, 0}).pan};
}

std::vector<Block> inFrontOf(const SpacePoint& lens, const Person& person,
                             std::span<const Person> people) {
  const double wayX = person.position.x - lens.x;
  const double wayY = person.position.y - lens.y;
  const double way = std::hypot(wayX, wayY);
  std::vector<Block> blocks;
  for (const Person& other : people) {
    const double x = other.position.x - lens.x;
    const double y = other.position.y - lens.y;
    const double along = way > 0 ? (x * wayX + y * wayY) / way : 0;
    const double beside = way > 0 ? std::abs(x * wayY - y * wayX) / way : 0;
    if (other.id != person.id && along > 0 && along < way - BODY_DEPTH && beside < BESIDE) {
      blocks.push_back(blockOf(other));
    }
  }
  return blocks;
}

}  // namespace device
