#include "world/ghosts.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <string>
#include <utility>

#include "random/chance.h"

namespace device {
namespace {

constexpr int CORNERS = 12;
constexpr double SWAYS_PER_SECOND = 0.4;
constexpr double SWAY = 0.15;           // of a tree's length, to either side
constexpr double SHADOW_SPEED = 1.5;    // metres per second
constexpr double HEADLIGHTS_SPEED = 8;  // metres per second
constexpr double VELOCITY_SPAN = 0.05;  // seconds

double speedOf(GhostKind kind) {
  switch (kind) {
    case GhostKind::tree:
      return 0;
    case GhostKind::shadow:
      return SHADOW_SPEED;
    case GhostKind::headlights:
      return HEADLIGHTS_SPEED;
  }
  return 0;
}

// A point of the outline; across and along are -1 to 1.
SpacePoint pointOf(const GhostSetup& setup, double age, double across, double along) {
  const double sine = std::sin(toRadians(setup.turn));
  const double cosine = std::cos(toRadians(setup.turn));
  const double right = across * setup.width / 2;
  if (setup.kind == GhostKind::tree) {
    const double sway =
        SWAY * setup.length * std::sin(2 * std::numbers::pi * SWAYS_PER_SECOND * age);
    const double side = right + sway;
    return {setup.middle.x + side * cosine, setup.middle.y - side * sine,
            (along + 1) / 2 * setup.length};
  }
  const double ahead = along * setup.length / 2 + speedOf(setup.kind) * age;
  return {setup.middle.x + ahead * sine + right * cosine,
          setup.middle.y + ahead * cosine - right * sine, 0};
}

std::optional<std::vector<PicturePoint>> outlineOf(const OverviewCamera& camera,
                                                   const GhostSetup& setup, double age) {
  std::vector<PicturePoint> outline;
  for (int i = 0; i < CORNERS; ++i) {
    const double angle = 2 * std::numbers::pi * i / CORNERS;
    const auto point = camera.project(pointOf(setup, age, std::cos(angle), std::sin(angle)));
    if (!point) {
      return std::nullopt;
    }
    outline.push_back(*point);
  }
  return outline;
}

PicturePoint velocityOf(const OverviewCamera& camera, const GhostSetup& setup, double age) {
  const auto from = camera.project(pointOf(setup, age - VELOCITY_SPAN, 0, 0));
  const auto to = camera.project(pointOf(setup, age + VELOCITY_SPAN, 0, 0));
  if (!from || !to) {
    return {};
  }
  return {(to->x - from->x) / (2 * VELOCITY_SPAN), (to->y - from->y) / (2 * VELOCITY_SPAN)};
}

}  // namespace

Ghosts::Ghosts(std::vector<GhostSetup> setups, std::uint64_t seed)
    : setups(std::move(setups)), seed(seed) {}

// Time is cut into turns as long as a ghost is seen; in each at most one appearance begins, which
// goes on into the next.
std::vector<Ghosts::Appearance> Ghosts::appearances(std::size_t ghost, double time) const {
  const GhostSetup& setup = setups[ghost];
  const std::string purpose = "ghost " + std::to_string(ghost);
  const auto turn = static_cast<std::int64_t>(std::floor(time / setup.seconds));
  std::vector<Appearance> found;
  for (const std::int64_t number : {turn - 1, turn}) {
    if (evenOf(seed, purpose, 2 * number) >= setup.perMinute / 60 * setup.seconds) {
      continue;
    }
    const double start =
        (static_cast<double>(number) + evenOf(seed, purpose, 2 * number + 1)) * setup.seconds;
    const double age = time - start;
    if (age >= 0 && age < setup.seconds) {
      found.push_back({number, age});
    }
  }
  return found;
}

std::vector<Ghost> Ghosts::at(const OverviewCamera& camera, double time) const {
  std::vector<Ghost> ghosts;
  for (std::size_t i = 0; i < setups.size(); ++i) {
    for (const Appearance& appearance : appearances(i, time)) {
      if (auto outline = outlineOf(camera, setups[i], appearance.age)) {
        const int id = -1 - static_cast<int>(i) -
                       static_cast<int>(setups.size()) * static_cast<int>(appearance.number + 1);
        ghosts.push_back({id, std::move(*outline), velocityOf(camera, setups[i], appearance.age)});
      }
    }
  }
  return ghosts;
}

std::vector<GhostFigure> Ghosts::figures(const OverviewCamera& camera, double time) const {
  std::vector<GhostFigure> figures;
  for (std::size_t i = 0; i < setups.size(); ++i) {
    const std::vector<Appearance> seen = appearances(i, time);
    if (seen.empty() && setups[i].kind != GhostKind::tree) {
      continue;
    }
    const double age = seen.empty() ? 0 : seen.back().age;  // a tree stands straight at 0
    if (auto outline = outlineOf(camera, setups[i], age)) {
      const SpacePoint middle = pointOf(setups[i], age, 0, 0);
      figures.push_back({setups[i].kind, {middle.x, middle.y}, std::move(*outline)});
    }
  }
  return figures;
}

}  // namespace device
