#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_GUARD_FACTORY_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_GUARD_FACTORY_H

#include <jansson.h>

#include <cstdint>
#include <memory>
#include <string>

#include "addon/libs/vigil_pack_lib/guard/guard.h"
#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "config/data_boundaries.h"

// Reads one profile of the configuration document, checks every value against the limits and builds
// the profile's guard. The first problem is thrown as a StatusException. What triggers and filters
// may hold is known to their own files, which factory/entry_kinds lists.
//
// What was read stays with the factory: guards get copies, so that one profile can build several.
class GuardFactory : protected ParsedProfile {
 public:
  // Held while an alarm lasts, when the profile does not say: 5 s.
  static constexpr std::int64_t DEFAULT_EVENT_DURATION = 5'000'000;  // microseconds

  // What a profile may say at most: a day. Below 0, down to as much, counts as 0.
  static constexpr std::int64_t MAX_EVENT_DURATION = 86'400'000'000;  // microseconds

  // rotation of the profile's camera in degrees. The boundaries must outlive the factory.
  GuardFactory(int rotation, const DataBoundaries& boundaries);
  GuardFactory(int rotation, const DataBoundaries& boundaries, std::int64_t eventDuration);
  GuardFactory(const GuardFactory&) = delete;
  GuardFactory& operator=(const GuardFactory&) = delete;
  virtual ~GuardFactory() = default;

  // Reads and checks a whole profile.
  void parseJson(const json_t* profile);

  // Builds the guard of the profile that was read.
  virtual std::unique_ptr<Guard> createGuard() const = 0;

  // Whether a profile was read without a problem.
  bool isOk() const { return ok; }

  std::int32_t getUid() const { return uid; }
  std::int32_t getCamera() const { return camera; }

  // Only for tests.
  const std::string& getName() const { return name; }

  // Not empty, at most 15 characters, without "<" and ">".
  bool isProfileNameValid(const std::string& profileName) const;

 protected:
  virtual void parseGuardData(const json_t* profile);
  virtual void createTriggers(const json_t* profile);
  virtual void createPerspectiveBars(const json_t* profile);
  virtual void createExclusionFilters(const json_t* profile);
  virtual void createOneExclusionFilter(const json_t* filter);
  virtual void createPresets(const json_t* profile);
  virtual void validateConfiguration();

  void setName(const std::string& text);

  // The preset that the guard is bound to.
  std::int32_t getPreset() const;

  // Gives a guard copies of the filters.
  void addFiltersTo(Guard& guard) const;

 private:
  void createOneTrigger(const json_t* trigger);
  void createOnePerspectiveBar(const json_t* bar);
  void createPerspectivePoints(const json_t* points, std::int32_t height);

  bool ok = false;
};

#endif
