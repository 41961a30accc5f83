#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_AREA_GUARD_FACTORY_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_AREA_GUARD_FACTORY_H

#include "addon/libs/vigil_pack_lib/factory/guard_factory.h"
#include "events/state_event_producer_i.h"

// Builds plain area guards.
// Only for other applications of these classes.
class AreaGuardFactory : public GuardFactory {
 public:
  // The producer must outlive the guards.
  AreaGuardFactory(int rotation, const DataBoundaries& boundaries, StateEventProducerI& producer);

  // Null when the profile has no include area.
  std::unique_ptr<Guard> createGuard() const override;

 private:
  StateEventProducerI& producer;
};

#endif
