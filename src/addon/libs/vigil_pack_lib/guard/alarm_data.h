#ifndef ADDON_LIBS_VIGIL_PACK_LIB_GUARD_ALARM_DATA_H
#define ADDON_LIBS_VIGIL_PACK_LIB_GUARD_ALARM_DATA_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "scene/tracking_object.h"

enum class AlarmDataStatus_e : std::int32_t {
  alarm = 0,    // raises the alarm
  passes = 1,   // passes all filters but raises no alarm
  filtered = 2  // held back by a filter
};

struct ObjectAlarmStatus {
  TrackingObject* object;  // not owned
  AlarmDataStatus_e status;
};

// What one frame did to one guard.
class AlarmData {
 public:
  // Makes room for so many objects.
  void reserve(std::size_t count) { objects.reserve(count); }

  void addObjectStatus(TrackingObject* object, AlarmDataStatus_e status) {
    objects.push_back({object, status});
  }

  // Whether the object of that id raises the alarm; false, logged, for an unknown one.
  // Only for other applications of these classes.
  bool didTriggerAlarm(std::int32_t objectId) const;

  const std::vector<ObjectAlarmStatus>& getObjects() const { return objects; }

  // At least one object raises the alarm.
  bool anyAlarm = false;

 private:
  std::vector<ObjectAlarmStatus> objects;
};

#endif
