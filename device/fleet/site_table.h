#ifndef DEVICE_FLEET_SITE_TABLE_H
#define DEVICE_FLEET_SITE_TABLE_H

#include <jansson.h>

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/json_auto_ptr.h"
#include "fleet/alarm_entry.h"

namespace device {

// What the sites of a fleet tell at their brokers, as one page shows it. It holds nothing that the
// brokers would not tell again. What comes is anybody's word: sites have names and alarms in
// bounds, and everything else is passed over. Times are seconds of wall-clock time.
class SiteTable {
 public:
  static constexpr double SILENCE = 150;  // seconds without a word, after which a site has gone
  static constexpr std::size_t MOST_SITES = 50000;
  static constexpr std::size_t MOST_ALARMS = 64;   // of one site
  static constexpr std::size_t LAST_ALARMS = 500;  // of all
  static constexpr std::size_t LONGEST_PAYLOAD = 65536;

  // A message of that broker; an empty payload clears the topic. isRetained: the broker repeats it,
  // so that it is no word of the site now, unless the site is a new one.
  void take(std::size_t broker, std::string_view topic, const std::string& payload, double now,
            bool isRetained = false);

  // What the broker said of who is online is nobody's word any more.
  void brokerLost(std::size_t broker);

  // {"sites":[...],"alarms":[...],"now":...}: all of it; the latest alarm is the last one.
  std::string everything(double now) const;

  // The same of what has changed since the last call; empty for nothing.
  std::string changes(double now);

 private:
  struct Site {
    std::map<std::size_t, bool> online;  // by broker
    std::string state;                   // empty: not told
    bool isFollowing = false;
    std::map<std::string, bool> alarms;  // by the last topic
    std::string url;
    std::string model;
    std::string version;
    double heard = 0;
    bool isSilent = false;
  };

  Site* siteOf(const std::string& name);
  void availability(Site* site, std::size_t broker, const std::string& payload);
  void about(Site* site, const std::string& payload);
  void event(const std::string& name, Site* site, const std::string& topic,
             const std::string& payload);
  void alarm(const std::string& name, Site* site, const std::string& topic, json_t* event);
  bool isNews(const std::string& topic, json_t* event);
  bool notesSilence(Site* site, double now);
  static json_t* jsonOf(const std::string& name, const Site& site);

  std::map<std::string, Site> sites;
  std::map<std::string, EventNumber> places;  // of the latest alarms, by site and topic
  std::deque<JsonAutoPtr> alarms;
  std::set<std::string> changed;
  std::vector<JsonAutoPtr> newAlarms;
};

}  // namespace device

#endif
