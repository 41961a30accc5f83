#include "scene/tracking_object_external_data.h"

#include <syslog.h>

namespace {

template <typename Value>
Value find(const std::map<std::string, Value>& values, const std::string& key,
           const Value& defaultValue) {
  const auto found = values.find(key);
  if (found == values.end()) {
    syslog(LOG_ERR, "Could not find stored data for key %s\n", key.c_str());
    return defaultValue;
  }
  return found->second;
}

}  // namespace

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

void TrackingObjectExternalData::insert(const std::string& key, bool value) {
  bools[key] = value;
}

void TrackingObjectExternalData::insert(const std::string& key, std::int32_t value) {
  ints[key] = value;
}

void TrackingObjectExternalData::insert(const std::string& key, const Point& value) {
  points[key] = value;
}

void TrackingObjectExternalData::insert(const std::string& key, std::int64_t value) {
  times[key] = value;
}

bool TrackingObjectExternalData::getBool(const std::string& key) const {
  return find(bools, key, false);
}

std::int32_t TrackingObjectExternalData::getInt(const std::string& key) const {
  return find(ints, key, 0);
}

Point TrackingObjectExternalData::getPoint(const std::string& key) const {
  return find(points, key, Point{});
}

std::int64_t TrackingObjectExternalData::getTimeVal(const std::string& key,
                                                    std::int64_t defaultValue) const {
  return find(times, key, defaultValue);
}
