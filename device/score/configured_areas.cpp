#include "score/configured_areas.h"

#include <jansson.h>

#include <algorithm>
#include <memory>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/json_auto_ptr.h"

namespace device {
namespace {

[[noreturn]] void fail(const std::string& reason) {
  throw std::runtime_error("The configuration cannot be used: " + reason);
}

// The object that has the profiles.
const json_t* contentOf(const json_t* answer) {
  for (const char* key : {"data", "params"}) {
    const json_t* content = json_object_get(answer, key);
    if (json_is_array(json_object_get(content, "profiles"))) {
      return content;
    }
  }
  return json_is_array(json_object_get(answer, "profiles")) ? answer : nullptr;
}

std::set<json_int_t> activeCameras(const json_t* content) {
  std::set<json_int_t> active;
  std::size_t index = 0;
  const json_t* camera = nullptr;
  json_array_foreach(json_object_get(content, "cameras"), index, camera) {
    if (json_is_true(json_object_get(camera, "active"))) {
      active.insert(json_integer_value(json_object_get(camera, "id")));
    }
  }
  return active;
}

std::vector<PicturePoint> polygonOf(const json_t* data) {
  std::vector<PicturePoint> polygon;
  std::size_t index = 0;
  const json_t* vertex = nullptr;
  json_array_foreach(data, index, vertex) {
    const json_t* x = json_array_get(vertex, 0);
    const json_t* y = json_array_get(vertex, 1);
    if (!json_is_number(x) || !json_is_number(y)) {
      fail("a vertex is no pair of numbers");
    }
    polygon.push_back({json_number_value(x), json_number_value(y)});
  }
  if (polygon.size() < 3) {
    fail("an area has fewer than 3 vertices");
  }
  return polygon;
}

// All areas of a kind that triggers or filters hold.
std::vector<std::vector<PicturePoint>> areasOf(const json_t* list, std::string_view kind) {
  std::vector<std::vector<PicturePoint>> areas;
  std::size_t index = 0;
  const json_t* item = nullptr;
  json_array_foreach(list, index, item) {
    const char* type = json_string_value(json_object_get(item, "type"));
    if (type != nullptr && type == kind) {
      areas.push_back(polygonOf(json_object_get(item, "data")));
    }
  }
  return areas;
}

// By the even-odd rule.
bool isInside(const std::vector<PicturePoint>& polygon, const PicturePoint& point) {
  bool inside = false;
  const PicturePoint* before = &polygon.back();
  for (const PicturePoint& vertex : polygon) {
    const bool crosses = (vertex.y > point.y) != (before->y > point.y);
    if (crosses && point.x < vertex.x + (point.y - vertex.y) / (before->y - vertex.y) *
                                            (before->x - vertex.x)) {
      inside = !inside;
    }
    before = &vertex;
  }
  return inside;
}

}  // namespace

ConfiguredAreas::ConfiguredAreas(const std::string& answer,
                                 std::span<const OverviewCamera> cameras) {
  const JsonAutoPtr json(json_loads(answer.c_str(), JSON_REJECT_DUPLICATES, nullptr));
  const json_t* content = contentOf(json.get());
  if (content == nullptr) {
    fail("it has no profiles");
  }
  const std::set<json_int_t> active = activeCameras(content);
  std::size_t index = 0;
  const json_t* profile = nullptr;
  json_array_foreach(json_object_get(content, "profiles"), index, profile) {
    const json_int_t camera = json_integer_value(json_object_get(profile, "camera"));
    const bool isThere = camera >= 1 && static_cast<std::size_t>(camera) <= cameras.size();
    std::vector<Polygon> includes = areasOf(json_object_get(profile, "triggers"), "includeArea");
    if (!isThere || !active.contains(camera) || includes.empty()) {
      continue;
    }
    profiles.push_back({.camera = cameras[static_cast<std::size_t>(camera) - 1],
                        .include = std::move(includes.front()),
                        .excludes = areasOf(json_object_get(profile, "filters"), "excludeArea")});
  }
}

bool ConfiguredAreas::contains(const GroundPoint& feet) const {
  return std::ranges::any_of(profiles, [&](const Profile& profile) {
    const std::optional<PicturePoint> upright = profile.camera.project({feet.x, feet.y, 0});
    if (!upright) {
      return false;
    }
    const PicturePoint place = profile.camera.toScene(*upright);
    return isInside(profile.include, place) &&
           std::ranges::none_of(profile.excludes,
                                [&](const Polygon& exclude) { return isInside(exclude, place); });
  });
}

std::vector<ScoredPerson> scoredPeople(std::span<const PersonView> people,
                                       const ConfiguredAreas& areas) {
  std::vector<ScoredPerson> scored;
  scored.reserve(people.size());
  for (const PersonView& person : people) {
    scored.push_back({.id = person.id,
                      .position = person.position,
                      .height = person.tall,
                      .counts = areas.contains(person.position)});
  }
  return scored;
}

std::vector<OverviewCamera> camerasOf(const World& world) {
  std::vector<OverviewCamera> cameras;
  for (int channel = 0; channel < world.channelCount(); ++channel) {
    cameras.push_back(world.camera(channel));
  }
  return cameras;
}

}  // namespace device
