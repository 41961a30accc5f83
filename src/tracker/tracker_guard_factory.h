#ifndef TRACKER_TRACKER_GUARD_FACTORY_H
#define TRACKER_TRACKER_GUARD_FACTORY_H

#include <cstdint>
#include <memory>

#include "addon/libs/vigil_pack_lib/factory/guard_factory.h"

// Reads a profile as this application allows it: with a priority and an include area, and without a
// perspective.
class TrackerGuardFactory : public GuardFactory {
 public:
  // Reads the profile at once; throws StatusException.
  TrackerGuardFactory(const json_t* profile, int rotation, const DataBoundaries& boundaries);

  // A TrackerAreaGuard, which declares its events and joins the tracker.
  std::unique_ptr<Guard> createGuard() const override;

 protected:
  void parseGuardData(const json_t* profile) override;
  void createPerspectiveBars(const json_t* profile) override;
  void validateConfiguration() override;

 private:
  static void validateNonSupportedPerspective(const json_t* profile);

  std::int32_t priority = 1;
};

#endif
