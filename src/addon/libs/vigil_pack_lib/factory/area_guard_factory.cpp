#include "addon/libs/vigil_pack_lib/factory/area_guard_factory.h"

#include "addon/libs/vigil_pack_lib/guard/area_guard.h"
#include "config/constants.h"

AreaGuardFactory::AreaGuardFactory(int rotation, const DataBoundaries& boundaries,
                                   StateEventProducerI& producer)
    : GuardFactory(rotation, boundaries), producer(producer) {}

std::unique_ptr<Guard> AreaGuardFactory::createGuard() const {
  if (!includeArea) {
    return nullptr;
  }
  auto guard = std::make_unique<AreaGuard>(*includeArea, name, uid, camera, eventDuration,
                                           constants::APP_NAME, producer, getPreset());
  for (const Polygon& area : excludeAreas) {
    guard->addExcludeArea(area);
  }
  addFiltersTo(*guard);
  return guard;
}
