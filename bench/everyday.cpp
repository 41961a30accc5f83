#include "bench/everyday.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <optional>

#include "base/units.h"
#include "world/analytics.h"
#include "world/silhouette.h"

namespace bench {

namespace {

constexpr double SCENE_ONE = 4096.0;  // Q12
constexpr double MAST_HEIGHT = 18.0;  // metres
constexpr double CAMERA_TILT = -20.8;
constexpr double CAMERA_FOV = 27.0;
constexpr double PAIR_SHARE = 1.0 / 12.0;  // of the outlines that are those of two people
constexpr double PAIR_DISTANCE = 0.2;      // metres
constexpr double SLOWEST = 0.5;            // metres per second
constexpr double FASTEST = 1.8;

Point toPoint(double x, double y) {
  const auto toUnits = [](double value) {
    return static_cast<std::int16_t>(std::lround(std::clamp(value, -1.0, 1.0) * SCENE_ONE));
  };
  return {toUnits(x), toUnits(y)};
}

device::OverviewCameraSetup cameraSetup() {
  device::OverviewCameraSetup setup;
  setup.position = {0.0, 0.0, MAST_HEIGHT};
  setup.tilt = CAMERA_TILT;
  setup.horizontalFov = CAMERA_FOV;
  return setup;
}

bool isInPicture(const device::GroundPoint& place) {
  return device::silhouetteOf(Everyday::camera(), {.id = 1, .position = place, .velocity = {}})
      .has_value();
}

// Where the line of sight of a point of the picture meets the ground.
std::optional<device::GroundPoint> groundAt(double x, double y) {
  const device::SpacePoint sight = device::unitVector(Everyday::camera().lineOfSight({x, y}));
  if (sight.z >= 0.0) {
    return std::nullopt;
  }
  const double reach = -MAST_HEIGHT / sight.z;
  return device::GroundPoint{sight.x * reach, sight.y * reach};
}

}  // namespace

Everyday::Everyday(std::uint64_t seed) : random(seed) {}

const device::OverviewCamera& Everyday::camera() {
  static const device::OverviewCamera CAMERA(cameraSetup());
  return CAMERA;
}

double Everyday::between(double low, double high) {
  return std::uniform_real_distribution(low, high)(random);
}

// Vertices at growing angles around a middle.
std::vector<Point> Everyday::star(double x, double y, double smallest, double largest,
                                  int vertices) {
  const double turn = between(0.0, 2.0 * std::numbers::pi);
  std::vector<Point> points;
  for (int i = 0; i < vertices; ++i) {
    const double angle = turn + (i + between(-0.3, 0.3)) * 2.0 * std::numbers::pi / vertices;
    const double radius = between(smallest, largest);
    points.push_back(toPoint(x + radius * std::cos(angle), y + radius * std::sin(angle)));
  }
  return points;
}

Areas Everyday::areas() {
  const auto count = [this](int low, int high) {
    return std::uniform_int_distribution(low, high)(random);
  };
  Areas areas;
  areas.include = star(between(-0.2, 0.2), between(-0.2, 0.2), 0.5, 0.9, count(5, 10));
  const int excluded = count(0, 3);
  for (int i = 0; i < excluded; ++i) {
    areas.exclude.push_back(star(between(-0.7, 0.7), between(-0.7, 0.7), 0.25, 0.5, count(4, 8)));
  }
  return areas;
}

device::GroundPoint Everyday::place() {
  while (true) {
    const auto place = groundAt(between(-1.0, 1.0), between(-1.0, 1.0));
    if (place && isInPicture(*place)) {
      return *place;
    }
  }
}

std::vector<std::vector<Point>> Everyday::outlines(std::size_t count) {
  std::vector<std::vector<Point>> outlines;
  while (outlines.size() < count) {
    std::vector<device::Person> people{{.id = 1, .position = place(), .velocity = {}}};
    if (between(0.0, 1.0) < PAIR_SHARE) {
      const device::GroundPoint& first = people.front().position;
      people.push_back({.id = 2, .position = {first.x + PAIR_DISTANCE, first.y}, .velocity = {}});
    }
    const device::Frame frame = device::Analytics(random()).observe(camera(), people, 0);
    std::vector<Point> outline;
    for (const device::FramePoint& point : frame.objects.front().outline) {
      outline.push_back({static_cast<std::int16_t>(point.x), static_cast<std::int16_t>(point.y)});
    }
    outlines.push_back(std::move(outline));
  }
  return outlines;
}

std::vector<device::Frame> Everyday::walk(std::size_t people, std::size_t frames, int perSecond) {
  std::vector<device::Frame> walk(frames);
  for (std::size_t i = 0; i < frames; ++i) {
    walk[i].timestamp = units::fromSeconds(static_cast<std::int64_t>(i)) / perSecond;
  }
  for (std::size_t i = 0; i < people; ++i) {
    device::Analytics analytics(random());
    // The first one walks in the middle of the picture, the others anywhere.
    device::Person person{
        .id = 1, .position = i == 0 ? *groundAt(0.0, 0.0) : place(), .velocity = {}};
    const double heading = between(0.0, 2.0 * std::numbers::pi);
    const double speed = between(SLOWEST, FASTEST);
    person.velocity = {speed * std::cos(heading), speed * std::sin(heading)};
    for (device::Frame& frame : walk) {
      device::GroundPoint next{person.position.x + person.velocity.x / perSecond,
                               person.position.y + person.velocity.y / perSecond};
      if (isInPicture(next)) {
        person.position = next;
      } else {
        person.velocity = {-person.velocity.x, -person.velocity.y};
      }
      device::FrameObject object =
          analytics.observe(camera(), std::span(&person, 1), frame.timestamp).objects.front();
      object.id = static_cast<std::int32_t>(i + 1);
      frame.objects.push_back(std::move(object));
    }
  }
  return walk;
}

std::vector<device::Frame> thereAndBack(std::vector<device::Frame> frames) {
  if (frames.size() > 2) {
    std::vector<device::Frame> back(std::next(frames.rbegin()), std::prev(frames.rend()));
    std::move(back.begin(), back.end(), std::back_inserter(frames));
  }
  return frames;
}

}  // namespace bench
