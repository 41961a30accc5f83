#include "world/people_generator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

namespace device {
namespace {

constexpr double WIDTH = 14;          // metres
constexpr double DEPTH = 10;          // metres
constexpr int MOST_AT_ONCE = 6;       // people
constexpr double SLOWEST = 0.8;       // metres per second
constexpr double FASTEST = 1.8;       // metres per second
constexpr double SHORTEST_WAY = 5;    // metres from edge to edge
constexpr double SWING = 0.3;         // of a way's length
constexpr double BUSY = 30;           // seconds in which people arrive
constexpr double QUIET = 20;          // seconds with nobody
constexpr double ROW_INTERVAL = 0.4;  // seconds

// A cubic curve from edge to edge, its parameter 0 to 1.
struct Way {
  std::array<GroundPoint, 4> control;

  GroundPoint at(double u) const {
    const double v = 1 - u;
    const std::array<double, 4> weights{v * v * v, 3 * v * v * u, 3 * v * u * u, u * u * u};
    GroundPoint point;
    for (std::size_t i = 0; i < control.size(); ++i) {
      point.x += weights[i] * control[i].x;
      point.y += weights[i] * control[i].y;
    }
    return point;
  }
};

class Generator {
 public:
  explicit Generator(std::uint64_t seed) : random(seed) {}

  TrackSet generate(double seconds) {
    for (double start = 0; start < seconds; start = lastLeft + QUIET + between(0, 5)) {
      addBusyTime(start);
    }
    return TrackSet(std::move(tracks));
  }

 private:
  double between(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
  }

  void addBusyTime(double start) {
    for (double time = start; time < start + BUSY; time += between(2, 7)) {
      addPerson(time);
    }
  }

  void addPerson(double arrives) {
    const auto isThere = [arrives](const Track& track) { return track.end() >= arrives; };
    if (std::count_if(tracks.begin(), tracks.end(), isThere) >= MOST_AT_ONCE) {
      return;
    }
    const Way way = drawWay();
    const int id = static_cast<int>(tracks.size()) + 1;
    tracks.emplace_back(id, walk(way, arrives, between(SLOWEST, FASTEST)));
    lastLeft = std::max(lastLeft, tracks.back().end());
  }

  int edge() { return static_cast<int>(between(0, 3.999)); }

  GroundPoint onEdge(int number) {
    switch (number) {
      case 0:
        return {0, between(0, DEPTH)};
      case 1:
        return {WIDTH, between(0, DEPTH)};
      case 2:
        return {between(0, WIDTH), 0};
      default:
        return {between(0, WIDTH), DEPTH};
    }
  }

  // From one edge to another, with a gentle swing to either side of the straight line.
  Way drawWay() {
    GroundPoint from;
    GroundPoint to;
    double length = 0;
    while (length < SHORTEST_WAY) {
      const int entry = edge();
      const int exit = (entry + 1 + static_cast<int>(between(0, 2.999))) % 4;
      from = onEdge(entry);
      to = onEdge(exit);
      length = std::hypot(to.x - from.x, to.y - from.y);
    }
    const auto beside = [&](double share) {
      const double swing = between(-SWING, SWING);
      const double x = std::lerp(from.x, to.x, share) - swing * (to.y - from.y);
      const double y = std::lerp(from.y, to.y, share) + swing * (to.x - from.x);
      return GroundPoint{std::clamp(x, 0.0, WIDTH), std::clamp(y, 0.0, DEPTH)};
    };
    const GroundPoint first = beside(1.0 / 3);
    const GroundPoint second = beside(2.0 / 3);
    return {{from, first, second, to}};
  }

  // Points at even times along the way at one speed.
  static std::vector<TrackPoint> walk(const Way& way, double start, double speed) {
    constexpr int PIECES = 4000;
    std::vector<TrackPoint> points{{start, way.at(0)}};
    double walked = 0;
    double next = speed * ROW_INTERVAL;
    GroundPoint here = way.at(0);
    for (int i = 1; i <= PIECES; ++i) {
      const GroundPoint there = way.at(static_cast<double>(i) / PIECES);
      walked += std::hypot(there.x - here.x, there.y - here.y);
      here = there;
      if (walked >= next) {
        points.push_back({start + walked / speed, here});
        next += speed * ROW_INTERVAL;
      }
    }
    return points;
  }

  std::mt19937_64 random;
  std::vector<Track> tracks;
  double lastLeft = 0;
};

}  // namespace

TrackSet generatePeople(std::uint64_t seed, double seconds) {
  return Generator(seed).generate(seconds);
}

}  // namespace device
