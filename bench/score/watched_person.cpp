#include "score/watched_person.h"

#include <jansson.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/json_auto_ptr.h"
#include "base/json_text.h"

namespace score {

namespace {

constexpr double HALF_SIDE = 0.005;  // of the area, in the picture's coordinates
constexpr double BORDER = 0.97;      // of the picture

JsonAutoPtr squareAround(const device::PicturePoint& place) {
  const double left = place.x - HALF_SIDE;
  const double right = place.x + HALF_SIDE;
  const double bottom = place.y - HALF_SIDE;
  const double top = place.y + HALF_SIDE;
  return JsonAutoPtr(
      json_pack("[[f,f],[f,f],[f,f],[f,f]]", left, bottom, left, top, right, top, right, bottom));
}

}  // namespace

WatchedPerson::WatchedPerson(Simulation& simulation, const std::string& configuration, int person)
    : simulation(simulation),
      configuration(json_loads(configuration.c_str(), 0, nullptr)),
      person(person) {
  simulation.daemon().configure(configuration);
  for (int channel = 0; channel < simulation.world().channelCount(); ++channel) {
    simulation.daemon().configureCamera(channel + 1, std::nullopt);
  }
  simulation.onFrame = [this](int channel, double time) { moveArea(channel, time); };
}

// Not for a picture that comes again or late.
void WatchedPerson::moveArea(int channel, double time) {
  double& latest = pictures[channel];
  if (time <= latest) {
    return;
  }
  latest = time;
  const auto place = placeInPicture(channel, time);
  simulation.daemon().configureCamera(
      channel + 1, place ? std::optional(documentWith(channel, *place)) : std::nullopt);
}

// Nothing outside the picture.
std::optional<device::PicturePoint> WatchedPerson::placeInPicture(int channel, double time) const {
  const device::OverviewCamera& camera = simulation.world().camera(channel);
  for (const device::PersonView& view : simulation.world().people(std::max(time, 0.0))) {
    if (view.id != person) {
      continue;
    }
    const auto seen = camera.project({view.position.x, view.position.y, view.tall / 2});
    const bool isInPicture = seen && std::abs(seen->x) <= BORDER && std::abs(seen->y) <= BORDER;
    return isInPicture ? seen : std::nullopt;
  }
  return std::nullopt;
}

// With the profiles of that camera alone.
std::string WatchedPerson::documentWith(int channel, const device::PicturePoint& place) const {
  const JsonAutoPtr document(json_deep_copy(configuration.get()));
  json_t* profiles = json_object_get(json_object_get(document.get(), "params"), "profiles");
  for (std::size_t i = json_array_size(profiles); i-- > 0;) {
    json_t* profile = json_array_get(profiles, i);
    if (json_integer_value(json_object_get(profile, "camera")) != channel + 1) {
      json_array_remove(profiles, i);
      continue;
    }
    json_t* trigger = json_array_get(json_object_get(profile, "triggers"), 0);
    json_object_set_new(trigger, "data", squareAround(place).release());
  }
  return toText(document.get(), 0);
}

}  // namespace score
