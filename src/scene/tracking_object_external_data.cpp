#include "scene/tracking_object_external_data.h"

#include <syslog.h>

template <typename Value>
Value TrackingObjectExternalData::find(const KeyedValues<Value>& values, std::string_view key,
                                       const Value& defaultValue) {
  if (const Value* value = values.find(key)) {
    return *value;
  }
  syslog(LOG_ERR, "Could not find stored data for key %s\n", std::string(key).c_str());
  return defaultValue;
}

void TrackingObjectExternalData::debugPrint() const {
  for (const auto& [key, value] : bools) {
    syslog(LOG_INFO, "%s: %s\n", key.c_str(), value ? "true" : "false");
  }
  for (const auto& [key, value] : ints) {
    syslog(LOG_INFO, "%s: %d\n", key.c_str(), value);
  }
  for (const auto& [key, value] : points) {
    syslog(LOG_INFO, "%s: %s\n", key.c_str(), value.toString().c_str());
  }
  for (const auto& [key, value] : times) {
    syslog(LOG_INFO, "%s: %lld\n", key.c_str(), static_cast<long long>(value));
  }
}

void TrackingObjectExternalData::insert(std::string_view key, bool value) {
  bools.put(key, value);
}

void TrackingObjectExternalData::insert(std::string_view key, std::int32_t value) {
  ints.put(key, value);
}

void TrackingObjectExternalData::insert(std::string_view key, const Point& value) {
  points.put(key, value);
}

void TrackingObjectExternalData::insert(std::string_view key, std::int64_t value) {
  times.put(key, value);
}

bool TrackingObjectExternalData::getBool(std::string_view key) const {
  return find(bools, key, false);
}

std::int32_t TrackingObjectExternalData::getInt(std::string_view key) const {
  return find(ints, key, 0);
}

Point TrackingObjectExternalData::getPoint(std::string_view key) const {
  return find(points, key, Point{});
}

std::int64_t TrackingObjectExternalData::getTimeVal(std::string_view key,
                                                    std::int64_t defaultValue) const {
  return find(times, key, defaultValue);
}
