#ifndef DEVICE_FLEET_SITE_TABLE_H
#define DEVICE_FLEET_SITE_TABLE_H

#include <jansson.h>

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
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
  static constexpr std::size_t MOST_GAPS = 10000;
  static constexpr std::size_t MOST_TOLD = 1000;  // of an alarm while a gap of it is open
  static constexpr std::size_t MOST_LOST = 1000;  // that are counted of a gap
  static constexpr double FIRST_LOOK = 2;  // seconds after a gap is noticed; then four times that
  static constexpr int MOST_LOOKS = 4;
  static constexpr double ANSWER = 10;  // seconds for the last one's, and after one in vain
  static constexpr std::size_t MOST_STARTS = 4;  // of a device that are known as former ones
  static constexpr std::size_t MOST_PLACES = 4 * MOST_ALARMS;  // of one site; some are gone

  // A message of that broker; an empty payload clears the topic, and with the last one the site.
  // isRetained: the broker repeats it, so that it is no word of the site now, unless the site is a
  // new one.
  void take(std::size_t broker, std::string_view topic, const std::string& payload, double now,
            bool isRetained = false);

  // What the broker said of who is online is nobody's word any more.
  void brokerLost(std::size_t broker);

  // An alarm's numbers may show that some of them were not told. Since when what was kept elsewhere
  // has to be looked for; nothing while there is nothing to look for. Each gap is asked for some
  // times, ever more rarely, from some seconds after it was noticed: what has been sent at the same
  // time may be on its way to where it is kept, and is kept again within a minute.
  std::optional<double> missingSince(double now);

  // The last one was no look: nobody could tell what was kept.
  void lookedInVain(double now);

  // What was kept (alarmEntry): of it what was not told. It stands before what has followed it.
  void takeKept(std::span<const JsonAutoPtr> entries);

  // How many were not found, since the last call; of each gap no more than MOST_LOST.
  std::size_t takeLost();

  // {"sites":[...],"alarms":[...],"now":...}: all of it; the latest alarm is the last one.
  std::string everything(double now) const;

  // The same of what has changed since the last call, with "gone":[...], the names of those that
  // are no more; empty for nothing.
  std::string changes(double now);

 private:
  struct Place {
    EventNumber number;                   // of the latest event
    double known = 0;                     // when nothing had come since
    std::deque<std::string> former = {};  // starts; the latest is the last one
  };
  struct Site {
    std::map<std::size_t, bool> online;  // by broker
    std::string state;                   // empty: not told
    bool isFollowing = false;
    std::map<std::string, bool> alarms;   // by the last topic
    std::map<std::string, Place> places;  // likewise, also of those that are gone
    std::string url;
    std::string model;
    std::string version;
    std::string start;  // as it said itself last
    double heard = 0;
    bool isSilent = false;
  };

  // Of an alarm's events some after the last one that was told in its turn are missing.
  struct Gap {
    struct Told {
      JsonAutoPtr entry;
      bool isListed = false;
    };

    EventNumber last;
    bool isActive = false;                 // as the last one said
    json_int_t end = 0;                    // number of the latest one
    std::map<json_int_t, Told> told = {};  // of those after the last one
    double known = 0;                      // when nothing was missing
    double due = 0;                        // when it is to be asked for
    int asked = 0;                         // times
    bool isAsked = false;                  // with the last question

    std::size_t missing() const;
  };
  struct Listed {
    std::string topic;  // with the site
    EventNumber number;
    JsonAutoPtr entry;
  };
  using Run = std::pair<std::string, std::string>;  // topic with the site, and a device's start

  Site* siteOf(const std::string& name);
  static bool isForgotten(const Site& site);
  void forget(const std::string& name, bool isNew);
  void availability(Site* site, std::size_t broker, const std::string& payload);
  void about(Site* site, const std::string& payload, bool isRetained);
  void event(const std::string& name, Site* site, const std::string& topic,
             const std::string& payload, double now, bool isRetained);
  void alarm(const std::string& name, Site* site, const std::string& topic, json_t* event,
             double now, bool isRetained);
  static bool isLater(const Site& site, const Place& place, const EventNumber& number,
                      bool isRetained);
  static Place* placeOf(Site* site, const std::string& topic);
  static void move(Place* place, const EventNumber& number, double now, bool isRetained);
  void note(const std::string& topic, const Place& before, const EventNumber& number,
            bool wasActive, double now);
  void endGap(const Run& run, const Gap& gap);
  void countLost(std::size_t count);
  void takeLate(const std::string& topic, const JsonAutoPtr& entry);
  void list(Listed listed);
  void listLate(Listed listed, bool isFollowed);
  void listAt(std::deque<Listed>::iterator place, Listed listed);
  bool notesSilence(Site* site, double now);
  static json_t* jsonOf(const std::string& name, const Site& site);

  std::map<std::string, Site> sites;
  std::map<Run, Gap> gaps;
  std::size_t lost = 0;
  std::deque<Listed> alarms;
  std::set<std::string> changed;
  std::set<std::string> gone;
  std::vector<JsonAutoPtr> newAlarms;
};

}  // namespace device

#endif
