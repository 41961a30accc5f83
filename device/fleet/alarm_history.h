#ifndef DEVICE_FLEET_ALARM_HISTORY_H
#define DEVICE_FLEET_ALARM_HISTORY_H

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/json_auto_ptr.h"
#include "fleet/alarm_entry.h"

namespace device {

// What a broker has kept of sites' alarms, without what was told again and what changed nothing. As
// in SiteTable, it is anybody's word.
class AlarmHistory {
 public:
  // A message that was kept, in any order. subject: its topic, with dots.
  void take(std::string_view subject, const std::string& payload);

  // The last ones that have begun or ended (alarmEntry), by their time, the latest last.
  std::vector<JsonAutoPtr> last(std::size_t most) const;

  // All that was taken, each alarm's by number.
  std::vector<JsonAutoPtr> all() const;

 private:
  using Alarm = std::pair<std::string, std::string>;  // of a site

  std::map<Alarm, std::map<EventNumber, JsonAutoPtr>> events;
};

}  // namespace device

#endif
