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

json_t* listOf(const auto& alarms) {
  json_t* list = json_array();
  for (const JsonAutoPtr& alarm : alarms) {
    json_array_append(list, alarm.get());
  }
  return list;
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
    about(site, payload);
  } else if (rest.starts_with(OWN)) {
    event(name, site, std::string(rest.substr(OWN.size())), payload);
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
  return &sites[name];
}

void SiteTable::availability(Site* site, std::size_t broker, const std::string& payload) {
  if (payload.empty()) {
    site->online.erase(broker);
  } else {
    site->online[broker] = payload == "online";
  }
}

void SiteTable::about(Site* site, const std::string& payload) {
  const JsonAutoPtr json = parsed(payload);
  site->url = addressOf(json.get());
  site->model = textOf(json.get(), "model");
  site->version = textOf(json.get(), "version");
}

void SiteTable::event(const std::string& name, Site* site, const std::string& topic,
                      const std::string& payload) {
  const JsonAutoPtr json = parsed(payload);
  if (topic == "state") {
    const std::string state = textOf(json_object_get(json.get(), "data"), "value");
    site->state = std::ranges::count(STATES, state) > 0 ? state : "";
  } else if (topic == "isSentreling") {
    site->isFollowing = isActive(json.get());
  } else if (topic.starts_with("Camera") && isSiteName(topic)) {
    alarm(name, site, topic, json.get());
  }
}

void SiteTable::alarm(const std::string& name, Site* site, const std::string& topic,
                      json_t* event) {
  if (event == nullptr) {
    site->alarms.erase(topic);
    places.erase(name + '/' + topic);
    return;
  }
  if (!site->alarms.contains(topic) && site->alarms.size() >= MOST_ALARMS) {
    return;
  }
  if (!isNews(name + '/' + topic, event)) {
    return;
  }
  const bool active = isActive(event);
  const bool before = std::exchange(site->alarms[topic], active);
  if (active == before) {
    return;
  }
  const JsonAutoPtr entry = alarmEntry(name, topic, event);
  alarms.push_back(entry);
  newAlarms.push_back(entry);
  if (alarms.size() > LAST_ALARMS) {
    alarms.pop_front();
  }
}

// What is told again, or by a second broker, has the same place or an earlier one.
bool SiteTable::isNews(const std::string& topic, json_t* event) {
  const EventNumber number = EventNumber::of(event);
  EventNumber& last = places[topic];
  if (number.start == last.start && number.count <= last.count) {
    return false;
  }
  last = number;
  return true;
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
  json_object_set_new(json.get(), "alarms", listOf(alarms));
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
  if (changed.empty() && newAlarms.empty()) {
    return {};
  }
  const JsonAutoPtr json(json_object());
  json_t* list = json_array();
  for (const std::string& name : std::exchange(changed, {})) {
    json_array_append_new(list, jsonOf(name, sites[name]));
  }
  json_object_set_new(json.get(), "sites", list);
  json_object_set_new(json.get(), "alarms", listOf(std::exchange(newAlarms, {})));
  json_object_set_new(json.get(), "now", json_integer(std::llround(now)));
  return lineOf(json.get());
}

}  // namespace device
