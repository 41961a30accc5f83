#include "score/watched_person.h"

#include <jansson.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>

#include "base/json_auto_ptr.h"
#include "base/json_text.h"

namespace score {

namespace {

constexpr double PERIOD = 0.5;    // seconds, after which the area moves
constexpr double BEFORE = 0.1;    // seconds of the way behind that the area holds
constexpr double AHEAD = 0.6;     // ... and of the way in front
constexpr double WAY_STEP = 0.1;  // seconds
constexpr double MARGIN = 0.01;   // around the way, in the picture's coordinates
constexpr double BORDER = 0.97;   // of the picture

JsonAutoPtr rectangle(double left, double right, double bottom, double top) {
  return JsonAutoPtr(
      json_pack("[[f,f],[f,f],[f,f],[f,f]]", left, bottom, left, top, right, top, right, bottom));
}

}  // namespace

WatchedPerson::WatchedPerson(Simulation& simulation, const std::string& configuration, int person)
    : simulation(simulation), configuration(configuration), person(person) {
  simulation.daemon().configure(configuration);
  for (int channel = 0; channel < simulation.world().channelCount(); ++channel) {
    simulation.daemon().configureCamera(channel + 1, std::nullopt);
  }
  simulation.onFrame = [this](int channel, double time) { moveArea(channel, time); };
}

void WatchedPerson::moveArea(int channel, double time) {
  const auto known = movedAt.find(channel);
  if (known != movedAt.end() && time < known->second + PERIOD) {
    return;
  }
  movedAt[channel] = time;
  const auto way = wayInPicture(channel, time);
  simulation.daemon().configureCamera(
      channel + 1, way.empty() ? std::nullopt : std::optional(documentWith(way)));
}

// Where the middle of the body is as far as it lies in the picture.
std::vector<device::PicturePoint> WatchedPerson::wayInPicture(int channel, double time) const {
  std::vector<device::PicturePoint> way;
  const device::OverviewCamera& camera = simulation.world().camera(channel);
  for (double moment = std::max(time - BEFORE, 0.0); moment <= time + AHEAD; moment += WAY_STEP) {
    for (const device::PersonView& view : simulation.world().people(moment)) {
      if (view.id != person) {
        continue;
      }
      const auto seen = camera.project({view.position.x, view.position.y, view.tall / 2});
      if (seen && std::abs(seen->x) <= BORDER && std::abs(seen->y) <= BORDER) {
        way.push_back(*seen);
      }
    }
  }
  return way;
}

std::string WatchedPerson::documentWith(const std::vector<device::PicturePoint>& way) const {
  const auto [left, right] = std::ranges::minmax(way, {}, &device::PicturePoint::x);
  const auto [bottom, top] = std::ranges::minmax(way, {}, &device::PicturePoint::y);
  const JsonAutoPtr document(json_loads(configuration.c_str(), 0, nullptr));
  json_t* profiles = json_object_get(json_object_get(document.get(), "params"), "profiles");
  std::size_t index = 0;
  json_t* profile = nullptr;
  json_array_foreach(profiles, index, profile) {
    json_t* trigger = json_array_get(json_object_get(profile, "triggers"), 0);
    json_object_set_new(
        trigger, "data",
        rectangle(left.x - MARGIN, right.x + MARGIN, bottom.y - MARGIN, top.y + MARGIN).release());
  }
  return toText(document.get(), 0);
}

}  // namespace score
