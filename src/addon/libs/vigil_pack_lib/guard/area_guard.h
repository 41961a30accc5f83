#ifndef ADDON_LIBS_VIGIL_PACK_LIB_GUARD_AREA_GUARD_H
#define ADDON_LIBS_VIGIL_PACK_LIB_GUARD_AREA_GUARD_H

#include <cstdint>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/filters/protection_area.h"
#include "addon/libs/vigil_pack_lib/guard/guard.h"
#include "geometry/polygon.h"

// A guard that watches an area: an object inside it that passes the filters raises the alarm. One
// that was inside while a filter still held it back raises the alarm once, in the first frame in
// which it passes, even when it has left by then.
class AreaGuard : public Guard {
 public:
  AreaGuard(const Polygon& includeArea, const std::string& name, std::int32_t uid,
            std::int32_t camera, std::int64_t eventDuration, const std::string& appName,
            StateEventProducerI& producer, std::int32_t preset);

  void addExcludeArea(const Polygon& excludeArea);

  // Binds the guard to another preset.
  // Only for other applications of these classes.
  void updatePreset(int newPreset);

  void checkObjects(ParsedScene& scene) override;
  void sendAlarmEvent() override;
  AlarmData updateObjectsAndGetAlarms(ParsedScene& scene) override;
  void stopAllEvents(std::int64_t time) override;

  // Only for other applications of these classes.
  bool isStateEventOngoing() const;

 protected:
  // An object in view of the present frame, and what the guard makes of it.
  struct JudgedObject {
    TrackingObject* object;  // not owned
    AreaStatus_e area;
    bool passes;  // the filters, the present observation included
  };

  // The objects in view, in the frame's order, with their verdicts: those that checkObjects() found
  // in this frame, or found now when it did not look at the objects. Nothing that they depend on
  // changes within a frame. For the frame that checkObjects() was called with last.
  const std::vector<JudgedObject>& judgedObjects(const ParsedScene& scene) REQUIRES(lock);

 private:
  static inline const std::string PENDING_ALARM_KEY = "hasPendingAlarm";

  JudgedObject judge(TrackingObject& object) REQUIRES(lock);
  TrackingObjectExternalData& memoryOf(TrackingObject& object) const;

  ProtectionArea protectionArea GUARDED_BY(lock);
  const DataKey dataKey;
  const std::string includeAreaSvg;

  // Of the present frame; empty as long as nobody has looked.
  std::vector<JudgedObject> judged GUARDED_BY(lock);
};

#endif
