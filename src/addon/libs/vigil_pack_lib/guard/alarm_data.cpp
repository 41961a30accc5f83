#include "addon/libs/vigil_pack_lib/guard/alarm_data.h"

#include <syslog.h>

bool AlarmData::didTriggerAlarm(std::int32_t objectId) const {
  for (const ObjectAlarmStatus& entry : objects) {
    if (entry.object->getId() == objectId) {
      return entry.status == AlarmDataStatus_e::alarm;
    }
  }
  syslog(LOG_ERR, "AlarmData::didTriggerAlarm - Could not find an object with id %i\n", objectId);
  return false;
}
