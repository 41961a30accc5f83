#include "addon/libs/vigil_pack_lib/guard/area_guard.h"

#include <utility>

#include "addon/libs/vigil_pack_lib/filters/filter_data_key.h"
#include "scene/tracking_object_external_data_no_merge.h"

namespace {

constexpr const char* AREA_COLOUR = "#FF0000";

}  // namespace

AreaGuard::AreaGuard(const Polygon& includeArea, const std::string& name, std::int32_t uid,
                     std::int32_t camera, std::int64_t eventDuration, const std::string& appName,
                     StateEventProducerI& producer, std::int32_t preset)
    : Guard(name, uid, camera, eventDuration, appName, producer, preset),
      protectionArea(includeArea),
      dataKey(utils::generateFilterDataKey("area_guard", uid)),
      includeAreaSvg(protectionArea.toStringSvg(drawingStyle(AREA_COLOUR))) {}

void AreaGuard::addExcludeArea(const Polygon& excludeArea) {
  const LockGuard guard(lock);
  protectionArea.addExcludeArea(excludeArea);
}

void AreaGuard::updatePreset(int newPreset) {
  const LockGuard guard(lock);
  preset = newPreset;
}

void AreaGuard::checkObjects(ParsedScene& scene) {
  const LockGuard guard(lock);
  judged.clear();
  Guard::checkObjects(scene, includeAreaSvg);
}

void AreaGuard::sendAlarmEvent() {
  testAlarmRequested = true;
}

TrackingObjectExternalData& AreaGuard::memoryOf(TrackingObject& object) const {
  if (TrackingObjectExternalData* memory = object.getData(dataKey)) {
    return *memory;
  }
  auto memory = std::make_unique<TrackingObjectExternalDataNoMerge>();
  memory->insert(PENDING_ALARM_KEY, false);
  object.insertData(dataKey.getText(), std::move(memory));
  return *object.getData(dataKey);
}

AreaGuard::JudgedObject AreaGuard::judge(TrackingObject& object) {
  updateFilterData(object);
  const AreaStatus_e area = protectionArea.checkObject(object);
  return {&object, area, passesFilters(object)};
}

const std::vector<AreaGuard::JudgedObject>& AreaGuard::judgedObjects(const ParsedScene& scene) {
  if (judged.empty()) {
    for (TrackingObject* object : scene.getActiveObjects()) {
      judged.push_back(judge(*object));
    }
  }
  return judged;
}

AlarmData AreaGuard::updateObjectsAndGetAlarms(ParsedScene& scene) {
  const LockGuard guard(lock);
  AlarmData alarms;
  alarms.reserve(scene.getActiveObjects().size());
  judged.clear();
  for (TrackingObject* object : scene.getActiveObjects()) {
    const auto& [_, area, passes] = judged.emplace_back(judge(*object));
    TrackingObjectExternalData& memory = memoryOf(*object);
    const bool isPending = memory.getBool(PENDING_ALARM_KEY);
    const bool isInside = area == AreaStatus_e::inside;
    if (isPending && passes) {
      memory.insert(PENDING_ALARM_KEY, false);
    } else if (isInside && !passes) {
      memory.insert(PENDING_ALARM_KEY, true);
    }
    const bool triggers = (isPending || isInside) && passes;
    alarms.addObjectStatus(object, createAlarmStatus(triggers, passes));
    alarms.anyAlarm |= triggers;
  }
  return alarms;
}

void AreaGuard::stopAllEvents(std::int64_t time) {
  const LockGuard guard(lock);
  visualConfirmation.clearScreen();
  stateEvents.stopAllEvents(time);
  stopTestAlarm();
}

bool AreaGuard::isStateEventOngoing() const {
  const LockGuard guard(lock);
  return stateEvents.isOngoing();
}
