#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_GUARD_FACTORY_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_GUARD_FACTORY_H

#include <jansson.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/factory/loitering_condition.h"
#include "addon/libs/vigil_pack_lib/filters/exclusion_filter.h"
#include "addon/libs/vigil_pack_lib/filters/perspective_bar.h"
#include "addon/libs/vigil_pack_lib/guard/guard.h"
#include "config/data_boundaries.h"
#include "geometry/polygon.h"
#include "geometry/segment.h"

// Reads one profile of the configuration document, checks every value against the limits and builds
// the profile's guard. The first problem is thrown as a StatusException.
//
// What was read stays with the factory: guards get copies, so that one profile can build several.
class GuardFactory {
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

  std::string name;
  std::int32_t uid = -1;
  std::int32_t camera = 0;
  std::int64_t eventDuration;  // microseconds
  std::optional<Polygon> includeArea;
  std::optional<Segment> fence;
  std::optional<LoiteringArea> loiteringArea;
  std::vector<Polygon> excludeAreas;
  std::vector<std::unique_ptr<ExclusionFilter>> filters;
  std::vector<std::int16_t> presets;
  std::vector<PerspectiveBar> perspectiveBars;
  const int rotation;
  const DataBoundaries& boundaries;

 private:
  void createOneTrigger(const json_t* trigger, std::size_t triggerCount);
  void createOneIncludeArea(const json_t* trigger);
  void createOneFenceLine(const json_t* trigger);
  void createOneLoiteringArea(const json_t* trigger);
  LoiteringCondition createOneCondition(const json_t* condition) const;
  void createExcludeArea(const json_t* filter);
  void createSizeFilterPercent(const json_t* filter);
  void createSizeFilterPerspective(const json_t* filter);
  void createObjectLifetimeFilter(const json_t* filter);
  void createSwayingFilter(const json_t* filter);
  void createOnePerspectiveBar(const json_t* bar);
  void createPerspectivePoints(const json_t* points, std::int32_t height);
  Polygon createPolygon(const json_t* vertices) const;
  std::vector<Point> createPolyline(const json_t* vertices) const;

  template <typename Filter>
  bool hasActiveFilter() const;

  bool ok = false;
};

#endif
