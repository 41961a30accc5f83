#include "tracker/tracker_guard_factory.h"

#include <utility>

#include "config/constants.h"
#include "config/status_exception.h"
#include "events/state_event_fan_out.h"
#include "tracker/tracker_area_guard.h"

TrackerGuardFactory::TrackerGuardFactory(const json_t* profile, int rotation,
                                         const DataBoundaries& boundaries)
    : GuardFactory(rotation, boundaries) {
  parseJson(profile);
}

void TrackerGuardFactory::parseGuardData(const json_t* profile) {
  json_int_t value = 0;
  throwIf(json_unpack(const_cast<json_t*>(profile), "{s:I}", "priority", &value) != 0,
          "Could not unpack data for the guard", StatusCode_e::missingParameter);
  GuardFactory::parseGuardData(profile);
  throwIf(!std::in_range<std::int32_t>(value), "Incorrect parameter value for the guard",
          StatusCode_e::invalidParameter);
  priority = static_cast<std::int32_t>(value);
}

// An empty array says that there is none.
void TrackerGuardFactory::validateNonSupportedPerspective(const json_t* profile) {
  const json_t* perspective = json_object_get(profile, "perspective");
  const bool isEmptyArray = json_is_array(perspective) && json_array_size(perspective) == 0;
  throwIf(perspective != nullptr && !isEmptyArray,
          "The guard contains 'perspective' tag, the json data is incoherent",
          StatusCode_e::contradiction);
}

void TrackerGuardFactory::createPerspectiveBars(const json_t* profile) {
  validateNonSupportedPerspective(profile);
}

void TrackerGuardFactory::validateConfiguration() {
  GuardFactory::validateConfiguration();
  throwIf(!includeArea.has_value(),
          "The guard does not contain an include area, the json data is incoherent",
          StatusCode_e::contradiction);
}

std::unique_ptr<Guard> TrackerGuardFactory::createGuard() const {
  auto guard = std::make_unique<TrackerAreaGuard>(*includeArea, name, uid, camera, eventDuration,
                                                  priority, constants::APP_NAME,
                                                  StateEventFanOut::getInstance(), getPreset());
  for (const Polygon& area : excludeAreas) {
    guard->addExcludeArea(area);
  }
  addFiltersTo(*guard);
  return guard;
}
