#include "web_server/event_json.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <string_view>

#include "base/text.h"
#include "web_server/json_values.h"

namespace device {

namespace {

constexpr std::array<const char*, 3> TOPICS = {"topic0", "topic1", "topic2"};

struct ValueToJson {
  json_t* operator()(std::int32_t value) const { return json_integer(value); }
  json_t* operator()(bool value) const { return json_boolean(value); }
  json_t* operator()(double value) const { return json_real(value); }
  json_t* operator()(const std::string& value) const { return jsonText(value); }
};

struct ValueToText {
  std::string operator()(std::int32_t value) const { return std::to_string(value); }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(double value) const { return std::to_string(value); }
  std::string operator()(const std::string& value) const { return value; }
};

bool isTopic(const EventKey& key) {
  return std::ranges::count(TOPICS, std::string_view(key.name)) > 0;
}

bool isSource(const EventKey& key) {
  return key.isSource && !isTopic(key);
}

bool isData(const EventKey& key) {
  return !isTopic(key) && (key.isData || !key.isSource);
}

json_t* jsonOf(const EventKeys& keys, bool (*isWanted)(const EventKey&)) {
  json_t* object = json_object();
  for (const EventKey& key : keys) {
    if (!isWanted(key)) {
      continue;
    }
    json_t* value = key.value ? std::visit(ValueToJson(), *key.value) : nullptr;
    json_object_set_new(object, key.name.c_str(), value != nullptr ? value : json_null());
  }
  return object;
}

const EventKey* findTopic(const EventKeys& keys, std::string_view name) {
  const auto found = std::ranges::find(keys, name, &EventKey::name);
  return found == keys.end() ? nullptr : &*found;
}

void appendLevel(const EventKey& key, std::string* topic) {
  if (!key.value) {
    return;
  }
  std::string level = std::visit(ValueToText(), *key.value);
  std::ranges::replace_if(
      level, [](char c) { return c == '/' || c == '+' || c == '#' || c == '\0'; }, '_');
  if (!topic->empty()) {
    *topic += '/';
  }
  *topic += level;
}

}  // namespace

std::string eventJson(const Event& event, const EventPlace& place) {
  const JsonAutoPtr json(json_object());
  json_object_set_new(json.get(), "id", json_integer(event.id));
  json_object_set_new(json.get(), "topics", jsonOf(event.keys, isTopic));
  json_object_set_new(json.get(), "data", jsonOf(event.keys, isData));
  json_object_set_new(json.get(), "source", jsonOf(event.keys, isSource));
  json_object_set_new(json.get(), "stateful", json_boolean(!event.stateless));
  json_object_set_new(json.get(), "time", jsonText(isoTime(event.time)));
  json_object_set_new(json.get(), "nice", jsonText(niceName(event.keys)));
  json_object_set_new(json.get(), "start", jsonText(place.start));
  json_object_set_new(json.get(), "seq", json_integer(static_cast<json_int_t>(place.seq)));
  return lineOf(json.get());
}

std::string niceName(const EventKeys& keys) {
  for (const std::string_view name : {"topic2", "topic1", "topic0"}) {
    const EventKey* key = findTopic(keys, name);
    if (key == nullptr) {
      continue;
    }
    if (!key->valueNiceName.empty()) {
      return key->valueNiceName;
    }
    if (!key->niceName.empty()) {
      return key->niceName;
    }
  }
  return "";
}

std::string undeclaredJson(const Event& event) {
  const JsonAutoPtr json(json_object());
  json_object_set_new(json.get(), "id", json_integer(event.id));
  json_object_set_new(json.get(), "topics", jsonOf(event.keys, isTopic));
  return lineOf(json.get());
}

std::string isoTime(std::int64_t time) {
  const auto since = std::chrono::floor<std::chrono::milliseconds>(std::chrono::microseconds(time));
  const auto whole = std::chrono::floor<std::chrono::seconds>(since);
  const std::time_t seconds = whole.count();
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 40> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  return text.data() + text::formatted(".%03dZ", static_cast<int>((since - whole).count()));
}

bool isAlarm(const Event& event) {
  std::array<std::string, TOPICS.size()> texts;
  for (std::size_t i = 0; i < TOPICS.size(); ++i) {
    const EventKey* key = findTopic(event.keys, TOPICS[i]);
    if (key != nullptr && key->value) {
      texts[i] = std::visit(ValueToText(), *key->value);
    }
  }
  const auto& [top, middle, last] = texts;
  return (top == "MiruPlatform" && middle == "SentrelVideo" && last.starts_with("Camera")) ||
         (top == "VideoSource" && middle == "MotionAlarm");
}

std::string plainTopic(std::string topic) {
  std::ranges::replace_if(
      topic,
      [](unsigned char c) { return c <= ' ' || c == 0x7f || c == '.' || c == '*' || c == '>'; },
      '_');
  return topic;
}

std::string brokerTopic(const Event& event) {
  std::string topic;
  for (const char* name : TOPICS) {
    if (const EventKey* key = findTopic(event.keys, name)) {
      appendLevel(*key, &topic);
    }
  }
  for (const EventKey& key : event.keys) {
    if (isSource(key)) {
      appendLevel(key, &topic);
    }
  }
  return topic;
}

}  // namespace device
