#include "picture/painter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <numbers>
#include <optional>
#include <utility>

#include "world/direction.h"
#include "world/silhouette.h"

namespace device {
namespace {

constexpr int CELL = 16;               // pixels between two lines of sight that are worked out
constexpr double FARTHEST = 400;       // metres; beyond, the ground is haze
constexpr double PATCH = 1.5;          // metres, side of a patch of the ground
constexpr double GRAIN = 0.12;         // metres, side of a grain in it
constexpr double SHADOW_LENGTH = 0.8;  // metres for each metre of height
constexpr double SHADOW_TURN = 60;     // degrees
constexpr double SHADOW = 0.55;        // of the light that is left in it

constexpr Colour SKY{176, 200, 222};
constexpr Colour HAZE{150, 160, 158};

std::uint8_t level(double value) {
  return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0));
}

Colour scaled(const Colour& colour, double factor) {
  return {level(colour.red * factor), level(colour.green * factor), level(colour.blue * factor)};
}

Colour mixed(const Colour& one, const Colour& other, double share) {
  const auto mix = [&](std::uint8_t a, std::uint8_t b) { return level(a + (b - a) * share); };
  return {mix(one.red, other.red), mix(one.green, other.green), mix(one.blue, other.blue)};
}

// The whole number below; quicker than that of the library, which is asked for each grain.
std::uint32_t cellOf(double value) {
  const auto whole = static_cast<std::int32_t>(value);
  return static_cast<std::uint32_t>(value < whole ? whole - 1 : whole);
}

// The same for a place for good, 0 to 1, and unlike that of its neighbours. The place is within
// some hundred thousand sides.
double noiseAt(double x, double y, double side) {
  auto bits = cellOf(x / side) * 73856093U ^ cellOf(y / side) * 19349663U;
  bits = (bits ^ bits >> 16) * 0x45d9f3bU;
  bits = (bits ^ bits >> 16) * 0x45d9f3bU;
  return static_cast<double>((bits ^ bits >> 16) & 0xFFFF) / 0xFFFF;
}

// metres: how far away the place is. Grains that are smaller than a pixel would only flicker.
Colour groundAt(double x, double y, double metres) {
  constexpr Colour SOIL{112, 118, 96};
  constexpr double GRAIN_REACH = 30;  // metres
  const double patch = noiseAt(x, y, PATCH) - 0.5;
  const double grain =
      metres < GRAIN_REACH ? (noiseAt(x, y, GRAIN) - 0.5) * (1 - metres / GRAIN_REACH) : 0;
  const Colour ground = scaled(SOIL, 1 + 0.25 * patch + 0.2 * grain);
  return mixed(ground, HAZE, metres / FARTHEST);
}

// Lines of sight at the corners of a grid of cells. Between them they are straight enough.
class Sights {
 public:
  Sights(const OverviewCamera& camera, int width, int height)
      : columns((width + CELL - 1) / CELL + 1) {
    const int rows = (height + CELL - 1) / CELL + 1;
    for (int row = 0; row < rows; ++row) {
      for (int column = 0; column < columns; ++column) {
        const PicturePoint point{2.0 * column * CELL / width - 1, 1 - 2.0 * row * CELL / height};
        corners.push_back(unitVector(camera.lineOfSight(point)));
      }
    }
  }

  SpacePoint at(int x, int y) const {
    const SpacePoint* corner = &corners[static_cast<std::size_t>(y / CELL * columns + x / CELL)];
    const double right = (x % CELL + 0.5) / CELL;
    const double down = (y % CELL + 0.5) / CELL;
    const auto between = [&](double SpacePoint::*part) {
      const double above = corner[0].*part + (corner[1].*part - corner[0].*part) * right;
      const double below =
          corner[columns].*part + (corner[columns + 1].*part - corner[columns].*part) * right;
      return above + (below - above) * down;
    };
    return {between(&SpacePoint::x), between(&SpacePoint::y), between(&SpacePoint::z)};
  }

 private:
  int columns;
  std::vector<SpacePoint> corners;
};

Colour sightColour(const SpacePoint& eye, const SpacePoint& sight) {
  if (sight.z >= 0) {
    return mixed(HAZE, SKY, std::clamp(sight.z * 5, 0.0, 1.0));
  }
  const double way = -eye.z / sight.z;
  if (way >= FARTHEST) {
    return HAZE;
  }
  return groundAt(eye.x + sight.x * way, eye.y + sight.y * way, way);
}

// Calls back with each row of the outline and the places of its crossings, from left to right.
template <typename Row>
void eachRow(const std::vector<PicturePoint>& outline, const Picture& picture, Row row) {
  if (outline.empty()) {
    return;
  }
  const auto toX = [&](double x) { return (x + 1) / 2 * picture.getWidth(); };
  const auto toY = [&](double y) { return (1 - y) / 2 * picture.getHeight(); };
  const auto rowOf = [&](double y) {
    return static_cast<int>(std::clamp<double>(toY(y), 0, picture.getHeight()));
  };
  const auto [low, high] = std::ranges::minmax(outline, {}, &PicturePoint::y);
  const int end = std::min(picture.getHeight(), rowOf(low.y) + 1);
  std::vector<double> crossings;
  for (int y = rowOf(high.y); y < end; ++y) {
    crossings.clear();
    for (std::size_t i = 0; i < outline.size(); ++i) {
      const PicturePoint& from = outline[i];
      const PicturePoint& to = outline[(i + 1) % outline.size()];
      const double before = toY(from.y) - (y + 0.5);
      const double after = toY(to.y) - (y + 0.5);
      if ((before < 0) != (after < 0)) {
        crossings.push_back(toX(from.x) + (toX(to.x) - toX(from.x)) * before / (before - after));
      }
    }
    std::sort(crossings.begin(), crossings.end());
    for (std::size_t i = 0; i + 1 < crossings.size(); i += 2) {
      row(y, crossings[i], crossings[i + 1]);
    }
  }
}

template <typename Change>
void fill(const std::vector<PicturePoint>& outline, Picture* picture, Change change) {
  eachRow(outline, *picture, [&](int y, double left, double right) {
    const auto column = [&](double x) {
      return static_cast<int>(std::lround(std::clamp<double>(x, 0, picture->getWidth())));
    };
    const int begin = column(left);
    const int end = column(right);
    for (int x = begin; x < end; ++x) {
      const double across = (x + 0.5 - left) / (right - left);
      picture->at(x, y) = change(picture->at(x, y), across, y);
    }
  });
}

void paintShadow(const OverviewCamera& camera, const Person& person, Picture* picture) {
  const Appearance appearance{.shadowLength = SHADOW_LENGTH, .shadowTurn = SHADOW_TURN};
  if (const auto seen = silhouetteOf(camera, person, appearance)) {
    fill(seen->outline, picture,
         [](const Colour& below, double, int) { return scaled(below, SHADOW); });
  }
}

Colour clothesOf(int id) {
  const double hue = noiseAt(id, 0, 1);
  return {level(60 + 150 * hue), level(60 + 120 * noiseAt(id, 1, 1)),
          level(70 + 150 * noiseAt(id, 2, 1))};
}

void paintPerson(const OverviewCamera& camera, const Person& person, Picture* picture) {
  constexpr Colour SKIN{205, 160, 130};
  constexpr Colour TROUSERS{48, 52, 66};
  const auto seen = silhouetteOf(camera, person);
  if (!seen) {
    return;
  }
  const Colour clothes = clothesOf(person.id);
  const double top = (1 - seen->box.high.y) / 2 * picture->getHeight();
  const double tall = seen->box.height() / 2 * picture->getHeight();
  fill(seen->outline, picture, [&](const Colour&, double across, int y) {
    const double down = (y - top) / tall;
    const Colour& part = down < 0.14 ? SKIN : down < 0.55 ? clothes : TROUSERS;
    // Round, with the light from the left.
    return scaled(part, 1.1 - 0.6 * across * across);
  });
}

SpacePoint inWorld(const Block& block, double right, double ahead, double up) {
  const double turn = toRadians(block.turn);
  return {block.middle.x + right * std::cos(turn) + ahead * std::sin(turn),
          block.middle.y - right * std::sin(turn) + ahead * std::cos(turn), up};
}

// One side of a block, from a corner along two edges, and how bright it is.
struct Side {
  SpacePoint corner;
  SpacePoint edge;
  SpacePoint other;
  double shade;
};

SpacePoint way(const SpacePoint& from, const SpacePoint& to) {
  return {to.x - from.x, to.y - from.y, to.z - from.z};
}

// Its sides and its top, those that look away from the eye first.
std::vector<Side> sidesOf(const Block& block, const SpacePoint& eye) {
  constexpr std::array<double, 4> SHADES = {0.8, 1, 0.65, 0.9};
  const double right = block.width / 2;
  const double ahead = block.depth / 2;
  const std::array<std::pair<double, double>, 4> corners = {
      {{-right, -ahead}, {right, -ahead}, {right, ahead}, {-right, ahead}}};
  std::vector<std::pair<double, Side>> sides;
  for (std::size_t i = 0; i < corners.size(); ++i) {
    const auto& [x, y] = corners[i];
    const auto& [nextX, nextY] = corners[(i + 1) % corners.size()];
    const SpacePoint corner = inWorld(block, x, y, 0);
    const SpacePoint middle = inWorld(block, (x + nextX) / 2, (y + nextY) / 2, 0);
    sides.push_back({std::hypot(middle.x - eye.x, middle.y - eye.y),
                     {corner, way(corner, inWorld(block, nextX, nextY, 0)),
                      SpacePoint{0, 0, block.height}, SHADES[i]}});
  }
  std::ranges::sort(sides, std::greater(), [](const auto& side) { return side.first; });
  std::vector<Side> result;
  for (const auto& [distance, side] : sides) {
    result.push_back(side);
  }
  const SpacePoint corner = inWorld(block, -right, -ahead, block.height);
  const Side top{corner, way(corner, inWorld(block, right, -ahead, block.height)),
                 way(corner, inWorld(block, -right, ahead, block.height)), 1.15};
  result.insert(eye.z > block.height ? result.end() : result.begin(), top);
  return result;
}

// In pieces, as the lens bends straight lines, and may not show all of it.
void paintSide(const OverviewCamera& camera, const Side& side, Picture* picture) {
  constexpr Colour PLASTER{142, 134, 122};
  constexpr int PIECES = 8;
  const auto at = [&](int along, int across) {
    const double a = static_cast<double>(along) / PIECES;
    const double b = static_cast<double>(across) / PIECES;
    return camera.project({side.corner.x + side.edge.x * a + side.other.x * b,
                           side.corner.y + side.edge.y * a + side.other.y * b,
                           side.corner.z + side.edge.z * a + side.other.z * b});
  };
  const Colour colour = scaled(PLASTER, side.shade);
  for (int along = 0; along < PIECES; ++along) {
    for (int across = 0; across < PIECES; ++across) {
      const auto one = at(along, across);
      const auto two = at(along + 1, across);
      const auto three = at(along + 1, across + 1);
      const auto four = at(along, across + 1);
      if (one && two && three && four) {
        fill({*one, *two, *three, *four}, picture,
             [&](const Colour&, double, int) { return colour; });
      }
    }
  }
}

void paintBlock(const OverviewCamera& camera, const Block& block, Picture* picture) {
  for (const Side& side : sidesOf(block, camera.getSetup().position)) {
    paintSide(camera, side, picture);
  }
}

void paintTree(const GhostFigure& tree, Picture* picture) {
  constexpr Colour LEAVES{58, 84, 44};
  fill(tree.outline, picture, [&](const Colour&, double across, int y) {
    const double leaf = noiseAt(across * 40, y, 3) - 0.5;
    return scaled(LEAVES, 1.15 - 0.4 * across + 0.3 * leaf);
  });
}

// Shadows of clouds and the light of headlights.
void paintOnGround(const GhostFigure& figure, Picture* picture) {
  constexpr double CLOUD = 0.7;  // of the light that is left
  constexpr double LAMP = 1.5;   // of the light by day
  const double light = figure.kind == GhostKind::shadow ? CLOUD : LAMP;
  fill(figure.outline, picture,
       [&](const Colour& below, double, int) { return scaled(below, light); });
}

// Steps of brightness, most of them small; longer than any row, so that a row begins anywhere.
std::vector<int> makeNoise(std::size_t count) {
  constexpr int MOST = 3;  // steps of each of two chances
  std::vector<int> steps;
  for (std::size_t i = 0; i < count; ++i) {
    const auto x = static_cast<double>(i);
    const double sum = noiseAt(x, 0, 1) + noiseAt(x, 1, 1) - 1;
    steps.push_back(static_cast<int>(std::lround(sum * MOST)));
  }
  return steps;
}

// Of a block, so that it comes after everybody whom it hides: a long one may have its middle
// farther away than they are.
double distanceOf(const Block& block, const std::vector<Person>& people, const SpacePoint& eye) {
  constexpr double NEARER = 0.01;  // metres
  double distance = std::hypot(block.middle.x - eye.x, block.middle.y - eye.y);
  for (const Person& person : people) {
    for (const double height : {0.0, person.height / 2, person.height}) {
      if (hides(block, eye, {person.position.x, person.position.y, height})) {
        const double behind = std::hypot(person.position.x - eye.x, person.position.y - eye.y);
        distance = std::min(distance, behind - NEARER);
      }
    }
  }
  return distance;
}

}  // namespace

Picture paintGround(const OverviewCamera& camera, int width, int height) {
  Picture picture(width, height);
  const Sights sights(camera, width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      picture.at(x, y) = sightColour(camera.getSetup().position, sights.at(x, y));
    }
  }
  return picture;
}

void paintThings(const OverviewCamera& camera, const Things& things, Picture* picture) {
  const SpacePoint& eye = camera.getSetup().position;
  const auto distance = [&](const GroundPoint& place) {
    return std::hypot(place.x - eye.x, place.y - eye.y);
  };
  for (const GhostFigure& figure : things.figures) {
    if (figure.kind != GhostKind::tree) {
      paintOnGround(figure, picture);
    }
  }
  for (const Person& person : things.people) {
    paintShadow(camera, person, picture);
  }
  std::multimap<double, std::function<void()>, std::greater<>> upright;  // by distance
  for (const Person& person : things.people) {
    upright.emplace(distance(person.position), [&] { paintPerson(camera, person, picture); });
  }
  for (const Block& block : things.scenery) {
    upright.emplace(distanceOf(block, things.people, eye),
                    [&] { paintBlock(camera, block, picture); });
  }
  for (const GhostFigure& figure : things.figures) {
    if (figure.kind == GhostKind::tree) {
      upright.emplace(distance(figure.middle), [&] { paintTree(figure, picture); });
    }
  }
  for (const auto& [metres, paintIt] : upright) {
    paintIt();
  }
}

double lightAt(double time) {
  constexpr double CHANGE = 0.04;
  constexpr double SLOW = 70;   // seconds
  constexpr double QUICK = 23;  // seconds
  const auto wave = [&](double period) { return std::sin(2 * std::numbers::pi * time / period); };
  return 1 + CHANGE * (wave(SLOW) + wave(QUICK)) / 2;
}

void expose(double light, std::uint32_t seed, Picture* picture) {
  constexpr int STARTS = 4096;
  constexpr int MOST = 3;  // steps of noise
  const auto width = static_cast<std::size_t>(picture->getWidth());
  static const std::vector<int> STEPS = makeNoise(STARTS + 4096);
  std::array<std::uint8_t, 256 + 2 * MOST> levels{};
  for (std::size_t i = 0; i < levels.size(); ++i) {
    levels[i] = level(std::round(std::clamp(static_cast<double>(i) - MOST, 0.0, 255.0) * light));
  }
  for (int y = 0; y < picture->getHeight(); ++y) {
    const double chance = noiseAt(static_cast<double>(seed % 65536), y, 1);
    const auto start = static_cast<std::size_t>(chance * (STARTS - 1));
    Colour* row = &picture->at(0, y);
    for (std::size_t x = 0; x < width; ++x) {
      const auto step = static_cast<std::size_t>(STEPS[start + x % 4096] + MOST);
      row[x] = {levels[row[x].red + step], levels[row[x].green + step], levels[row[x].blue + step]};
    }
  }
}

Picture paint(const OverviewCamera& camera, const Things& things, int width, int height) {
  Picture picture = paintGround(camera, width, height);
  paintThings(camera, things, &picture);
  return picture;
}

}  // namespace device
