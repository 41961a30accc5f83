#include "picture/painter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
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

// The same for a place for good, 0 to 1, and unlike that of its neighbours.
double noiseAt(double x, double y, double side) {
  auto bits =
      static_cast<std::uint32_t>(static_cast<std::int32_t>(std::floor(x / side))) * 73856093U ^
      static_cast<std::uint32_t>(static_cast<std::int32_t>(std::floor(y / side))) * 19349663U;
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
      (noiseAt(x, y, GRAIN) - 0.5) * std::clamp(1 - metres / GRAIN_REACH, 0.0, 1.0);
  const Colour ground = scaled(SOIL, 1 + 0.25 * patch + 0.2 * grain);
  return mixed(ground, HAZE, std::clamp(metres / FARTHEST, 0.0, 1.0));
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
  return groundAt(eye.x + sight.x * way, eye.y + sight.y * way, way);
}

// Calls back with each row of the outline and the places of its crossings, from left to right.
template <typename Row>
void eachRow(const std::vector<PicturePoint>& outline, const Picture& picture, Row row) {
  const auto toX = [&](double x) { return (x + 1) / 2 * picture.getWidth(); };
  const auto toY = [&](double y) { return (1 - y) / 2 * picture.getHeight(); };
  std::vector<double> crossings;
  for (int y = 0; y < picture.getHeight(); ++y) {
    crossings.clear();
    for (std::size_t i = 0; i < outline.size(); ++i) {
      const PicturePoint& from = outline[i];
      const PicturePoint& to = outline[(i + 1) % outline.size()];
      const double low = toY(from.y) - (y + 0.5);
      const double high = toY(to.y) - (y + 0.5);
      if ((low < 0) != (high < 0)) {
        crossings.push_back(toX(from.x) + (toX(to.x) - toX(from.x)) * low / (low - high));
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
    const int begin = std::max(0, static_cast<int>(std::lround(left)));
    const int end = std::min(picture->getWidth(), static_cast<int>(std::lround(right)));
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

void paintPeople(const OverviewCamera& camera, std::vector<Person> people, Picture* picture) {
  const SpacePoint& eye = camera.getSetup().position;
  const auto distance = [&](const Person& person) {
    return std::hypot(person.position.x - eye.x, person.position.y - eye.y);
  };
  std::sort(people.begin(), people.end(),
            [&](const Person& a, const Person& b) { return distance(a) > distance(b); });
  for (const Person& person : people) {
    paintShadow(camera, person, picture);
  }
  for (const Person& person : people) {
    paintPerson(camera, person, picture);
  }
}

void addNoise(std::uint32_t seed, Picture* picture) {
  constexpr int STARTS = 4096;
  const auto width = static_cast<std::size_t>(picture->getWidth());
  static const std::vector<int> STEPS = makeNoise(STARTS + 4096);
  for (int y = 0; y < picture->getHeight(); ++y) {
    const double chance = noiseAt(static_cast<double>(seed % 65536), y, 1);
    const auto start = static_cast<std::size_t>(chance * (STARTS - 1));
    Colour* row = &picture->at(0, y);
    for (std::size_t x = 0; x < width; ++x) {
      const int step = STEPS[start + x % 4096];
      const auto change = [&](std::uint8_t value) {
        return static_cast<std::uint8_t>(std::clamp(value + step, 0, 255));
      };
      row[x] = {change(row[x].red), change(row[x].green), change(row[x].blue)};
    }
  }
}

Picture paint(const OverviewCamera& camera, std::vector<Person> people, int width, int height) {
  Picture picture = paintGround(camera, width, height);
  paintPeople(camera, std::move(people), &picture);
  return picture;
}

}  // namespace device
