#include "fleet/site_table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "fleet/alarm_entry.h"
#include "web_server/broker_options.h"
#include "web_server/json_values.h"

namespace device {

namespace {

constexpr std::string_view TOP = "sites/";
constexpr std::string_view OWN = "MiruPlatform/SentrelVideo/";
constexpr std::string_view AVAILABILITY = "SentrelVideo/device";
constexpr std::string_view ABOUT = "SentrelVideo/about";
constexpr std::array<std::string_view, 4> STATES = {"stopped", "connecting", "autotuning",
                                                    "running"};

JsonAutoPtr parsed(const std::string& payload) {
  return JsonAutoPtr(json_loads(payload.c_str(), 0, nullptr));
}

// A page follows no other kind of address.
std::string addressOf(const json_t* object) {
  const std::string url = textOf(object, "url");
  return url.starts_with("http://") || url.starts_with("https://") ? url : "";
}

}  // namespace

void SiteTable::take(std::size_t broker, std::string_view topic, const std::string& payload,
                     double now, bool isRetained) {
  if (!topic.starts_with(TOP) || payload.size() > LONGEST_PAYLOAD) {
    return;
  }
  topic.remove_prefix(TOP.size());
  const std::string name(topic.substr(0, topic.find('/')));
  if (!isSiteName(name) || name.size() == topic.size()) {
    return;
  }
  const bool isNew = !sites.contains(name);
  Site* site = siteOf(name);
  if (site == nullptr) {
    return;
  }
  const JsonAutoPtr before(jsonOf(name, *site));
  if (isNew || !isRetained) {
    site->heard = now;
    site->isSilent = false;
  }
  const std::string_view rest = topic.substr(name.size() + 1);
  if (rest == AVAILABILITY) {
    availability(site, broker, payload);
  } else if (rest == ABOUT) {
    about(site, payload, isRetained);
  } else if (rest.starts_with(OWN)) {
    event(name, site, std::string(rest.substr(OWN.size())), payload, now, isRetained);
  }
  if (payload.empty() && isForgotten(*site)) {
    return forget(name, isNew);
  }
  json_object_del(before.get(), "heard");
  const JsonAutoPtr after(jsonOf(name, *site));
  json_object_del(after.get(), "heard");
  if (json_equal(before.get(), after.get()) == 0) {
    changed.insert(name);
  }
}

SiteTable::Site* SiteTable::siteOf(const std::string& name) {
  const auto found = sites.find(name);
  if (found != sites.end()) {
    return &found->second;
  }
  if (sites.size() >= MOST_SITES) {
    return nullptr;
  }
  changed.insert(name);
  gone.erase(name);
  return &sites[name];
}

// Nothing of what it told is left at any broker.
bool SiteTable::isForgotten(const Site& site) {
  return site.online.empty() && site.state.empty() && !site.isFollowing && site.alarms.empty() &&
         site.url.empty() && site.model.empty() && site.version.empty() && site.start.empty();
}

void SiteTable::forget(const std::string& name, bool isNew) {
  sites.erase(name);
  changed.erase(name);
  if (!isNew) {
    gone.insert(name);
  }
}

void SiteTable::availability(Site* site, std::size_t broker, const std::string& payload) {
  if (payload.empty()) {
    site->online.erase(broker);
  } else {
    site->online[broker] = payload == "online";
  }
}

void SiteTable::about(Site* site, const std::string& payload, bool isRetained) {
  const JsonAutoPtr json = parsed(payload);
  site->url = addressOf(json.get());
  site->model = textOf(json.get(), "model");
  site->version = textOf(json.get(), "version");
  if (!isRetained || site->start.empty()) {
    site->start = textOf(json.get(), "start");
  }
}

void SiteTable::event(const std::string& name, Site* site, const std::string& topic,
                      const std::string& payload, double now, bool isRetained) {
  const JsonAutoPtr json = parsed(payload);
  if (topic == "state") {
    const std::string state = textOf(json_object_get(json.get(), "data"), "value");
    site->state = std::ranges::count(STATES, state) > 0 ? state : "";
  } else if (topic == "isSentreling") {
    site->isFollowing = isActive(json.get());
  } else if (topic.starts_with("Camera") && isSiteName(topic)) {
    alarm(name, site, topic, json.get(), now, isRetained);
  }
}

void SiteTable::alarm(const std::string& name, Site* site, const std::string& topic, json_t* event,
                      double now, bool isRetained) {
  const std::string place = name + '/' + topic;
  if (event == nullptr) {
    site->alarms.erase(topic);
    return;  // its place stays, and what is missing of it is looked for yet
  }
  if (!site->alarms.contains(topic) && site->alarms.size() >= MOST_ALARMS) {
    return;
  }
  const JsonAutoPtr entry = alarmEntry(name, topic, event);
  const EventNumber number = EventNumber::of(event);
  Place* known = placeOf(site, topic);
  const Place last = *known;
  const bool isNews = isLater(*site, last, number, isRetained);
  if (isNews || (number == last.number && !isRetained)) {
    move(known, number, now, isRetained);
  }
  if (!isNews) {
    return takeLate(place, entry);
  }
  const bool active = isActive(event);
  const bool before = std::exchange(site->alarms[topic], active);
  if (active != before) {
    list({place, number, entry});
  }
  note(place, last, number, before, now);
  if (const auto gap = gaps.find({place, number.start});
      gap != gaps.end() && gap->second.told.size() < MOST_TOLD) {
    gap->second.end = number.count;
    gap->second.told[number.count] = {entry, active != before};
  }
}

// Those of alarms that are gone make room.
SiteTable::Place* SiteTable::placeOf(Site* site, const std::string& topic) {
  if (!site->places.contains(topic) && site->places.size() >= MOST_PLACES) {
    const auto gone = std::ranges::find_if(
        site->places, [&](const auto& place) { return !site->alarms.contains(place.first); });
    site->places.erase(gone);  // there is one: alarms are fewer
  }
  return &site->places[topic];
}

void SiteTable::list(Listed listed) {
  listAt(alarms.end(), std::move(listed));
}

// It stands before what has followed it, and where that has left the list it is too old, too.
// Clocks may be wrong. isFollowed: something that has followed it was listed.
void SiteTable::listLate(Listed listed, bool isFollowed) {
  const auto follows = [&](const Listed& other) {
    return other.number.count > listed.number.count && other.topic == listed.topic &&
           other.number.start == listed.number.start;
  };
  const auto place = std::ranges::find_if(alarms, follows);
  if (place == alarms.end() && isFollowed) {
    newAlarms.push_back(listed.entry);  // for pages that show more
    return;
  }
  listAt(place, std::move(listed));
}

void SiteTable::listAt(std::deque<Listed>::iterator place, Listed listed) {
  newAlarms.push_back(listed.entry);
  alarms.insert(place, std::move(listed));
  if (alarms.size() > LAST_ALARMS) {
    alarms.pop_front();
  }
}

// What is told again, or by a second broker, has the same place or an earlier one. A broker that
// was away tells of a former start what it had waiting; one that is behind repeats an earlier one.
// What the device itself says of its start is right.
bool SiteTable::isLater(const Site& site, const Place& place, const EventNumber& number,
                        bool isRetained) {
  const std::string& start = place.number.start;
  if (number.start == start) {
    return number.count > place.number.count;
  }
  return number.start == site.start || (std::ranges::count(place.former, number.start) == 0 &&
                                        !(isRetained && number.start < start));
}

// What a broker repeats may be what a node that is behind holds: it does not tell that nothing has
// come since. Who lives tells it again long before it would be taken for gone.
void SiteTable::move(Place* place, const EventNumber& number, double now, bool isRetained) {
  const bool isFirst = place->number.start.empty();
  if (!isFirst && number.start != place->number.start) {
    std::erase(place->former, number.start);
    place->former.push_back(place->number.start);
    if (place->former.size() > MOST_STARTS) {
      place->former.pop_front();
    }
  }
  place->number = number;
  if (!isRetained) {
    place->known = now;
  } else if (isFirst) {
    place->known = now - SILENCE;
  }
}

// With a device's start an alarm is declared, which is none. What is missing of a former start is
// looked for by itself. Who leaves out numbers again and again keeps nothing open for ever.
void SiteTable::note(const std::string& topic, const Place& before, const EventNumber& number,
                     bool wasActive, double now) {
  constexpr json_int_t DECLARED = 1;
  const EventNumber last =
      number.start == before.number.start ? before.number : EventNumber{number.start, DECLARED};
  if (before.number.start.empty() || number.count <= last.count + 1) {
    return;
  }
  const Run run{topic, number.start};
  const auto found = gaps.find(run);
  if (found != gaps.end() ? found->second.told.size() >= MOST_TOLD : gaps.size() >= MOST_GAPS) {
    countLost(static_cast<std::size_t>(number.count - last.count - 1));
    return;
  }
  Gap& gap = gaps.try_emplace(run, Gap{.last = last, .isActive = wasActive, .known = before.known})
                 .first->second;
  gap.asked = 0;
  gap.isAsked = false;
  gap.due = now + FIRST_LOOK;
}

std::size_t SiteTable::Gap::missing() const {
  return static_cast<std::size_t>(end - last.count) - told.size();
}

std::optional<double> SiteTable::missingSince(double now) {
  const auto isOver = [now](const auto& place) {
    const Gap& gap = place.second;
    return gap.missing() == 0 || (now >= gap.due && gap.asked == MOST_LOOKS);
  };
  for (const auto& place : gaps) {
    if (isOver(place)) {
      endGap(place.first, place.second);
    }
  }
  std::erase_if(gaps, isOver);
  std::optional<double> since;
  for (auto& [run, gap] : gaps) {
    gap.isAsked = now >= gap.due;
    if (gap.isAsked) {
      ++gap.asked;
      gap.due = now + (gap.asked < MOST_LOOKS ? FIRST_LOOK * std::pow(4, gap.asked) : ANSWER);
      since = std::min(since.value_or(gap.known), gap.known);
    }
  }
  return since;
}

void SiteTable::lookedInVain(double now) {
  for (auto& [run, gap] : gaps) {
    if (std::exchange(gap.isAsked, false)) {
      --gap.asked;
      gap.due = now + ANSWER;
    }
  }
}

// Where an odd number was missing, the one behind them seemed to be no change. No more are listed
// than the list holds.
void SiteTable::endGap(const Run& run, const Gap& gap) {
  json_int_t lastListed = 0;
  for (const auto& [number, told] : gap.told) {
    lastListed = told.isListed ? number : lastListed;
  }
  std::vector<Listed> late;
  bool before = gap.isActive;
  for (const auto& [number, told] : gap.told) {
    const bool active = json_is_true(json_object_get(told.entry.get(), "active"));
    if (active != before && !told.isListed) {
      late.push_back({run.first, {run.second, number}, told.entry});
    }
    before = active;
  }
  for (Listed& listed : std::span(late).last(std::min(late.size(), LAST_ALARMS))) {
    const bool isFollowed = listed.number.count < lastListed;
    listLate(std::move(listed), isFollowed);
  }
  countLost(gap.missing());
}

// Its size is what the site says: one odd number would be more than all the others.
void SiteTable::countLost(std::size_t count) {
  lost += std::min(count, MOST_LOST);
}

void SiteTable::takeKept(std::span<const JsonAutoPtr> entries) {
  for (const JsonAutoPtr& entry : entries) {
    takeLate(textOf(entry.get(), "site") + '/' + textOf(entry.get(), "alarm"), entry);
  }
}

void SiteTable::takeLate(const std::string& topic, const JsonAutoPtr& entry) {
  const EventNumber number = EventNumber::of(entry.get());
  const auto found = gaps.find({topic, number.start});
  if (found == gaps.end()) {
    return;
  }
  Gap& gap = found->second;
  if (number.count > gap.last.count && number.count < gap.end) {
    gap.told.try_emplace(number.count, Gap::Told{.entry = entry});
  }
}

std::size_t SiteTable::takeLost() {
  return std::exchange(lost, 0);
}

void SiteTable::brokerLost(std::size_t broker) {
  for (auto& [name, site] : sites) {
    if (site.online.erase(broker) > 0) {
      changed.insert(name);
    }
  }
}

json_t* SiteTable::jsonOf(const std::string& name, const Site& site) {
  json_t* json = json_object();
  json_object_set_new(json, "name", jsonText(name));
  const bool isOnline =
      std::ranges::any_of(site.online, [](const auto& told) { return told.second; });
  const char* online = site.online.empty() ? "unknown" : isOnline ? "online" : "offline";
  json_object_set_new(json, "online", json_string(online));
  json_object_set_new(json, "silent", json_boolean(site.isSilent));
  json_object_set_new(json, "state", jsonText(site.state));
  json_object_set_new(json, "following", json_boolean(site.isFollowing));
  json_t* alarms = json_array();
  for (const auto& [topic, active] : site.alarms) {
    if (active) {
      json_array_append_new(alarms, jsonText(topic));
    }
  }
  json_object_set_new(json, "alarms", alarms);
  json_object_set_new(json, "url", jsonText(site.url));
  json_object_set_new(json, "model", jsonText(site.model));
  json_object_set_new(json, "version", jsonText(site.version));
  json_object_set_new(json, "heard", json_integer(std::llround(site.heard)));
  return json;
}

std::string SiteTable::everything(double now) const {
  const JsonAutoPtr json(json_object());
  json_t* list = json_array();
  for (const auto& [name, site] : sites) {
    json_array_append_new(list, jsonOf(name, site));
  }
  json_object_set_new(json.get(), "sites", list);
  json_t* latest = json_array();
  for (const Listed& listed : alarms) {
    json_array_append(latest, listed.entry.get());
  }
  json_object_set_new(json.get(), "alarms", latest);
  json_object_set_new(json.get(), "now", json_integer(std::llround(now)));
  return lineOf(json.get());
}

bool SiteTable::notesSilence(Site* site, double now) {
  const bool isSilent = now - site->heard > SILENCE;
  return std::exchange(site->isSilent, isSilent) != isSilent;
}

std::string SiteTable::changes(double now) {
  for (auto& [name, site] : sites) {
    if (notesSilence(&site, now)) {
      changed.insert(name);
    }
  }
  if (changed.empty() && gone.empty() && newAlarms.empty()) {
    return {};
  }
  const JsonAutoPtr json(json_object());
  json_t* list = json_array();
  for (const std::string& name : std::exchange(changed, {})) {
    json_array_append_new(list, jsonOf(name, sites[name]));
  }
  json_object_set_new(json.get(), "sites", list);
  json_t* names = json_array();
  for (const std::string& name : std::exchange(gone, {})) {
    json_array_append_new(names, jsonText(name));
  }
  json_object_set_new(json.get(), "gone", names);
  json_t* latest = json_array();
  for (const JsonAutoPtr& entry : std::exchange(newAlarms, {})) {
    json_array_append(latest, entry.get());
  }
  json_object_set_new(json.get(), "alarms", latest);
  json_object_set_new(json.get(), "now", json_integer(std::llround(now)));
  return lineOf(json.get());
}

}  // namespace device
