#ifndef SCENE_TRACKING_OBJECT_EXTERNAL_DATA_H
#define SCENE_TRACKING_OBJECT_EXTERNAL_DATA_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "geometry/point.h"
#include "scene/keyed_values.h"

// What a filter or guard remembers of one object: named values of four kinds. Getters of a missing
// key log it and give a default.
class TrackingObjectExternalData {
 public:
  virtual ~TrackingObjectExternalData() = default;
  virtual std::unique_ptr<TrackingObjectExternalData> clone() const = 0;

  // Combines another object's data into this one when both objects become one.
  virtual void merge(const TrackingObjectExternalData& other) = 0;

  // Logs all values.
  virtual void debugPrint() const;

  // Store a value, replacing one under the same key.
  void insert(std::string_view key, bool value);
  void insert(std::string_view key, std::int32_t value);
  void insert(std::string_view key, const Point& value);
  void insert(std::string_view key, std::int64_t value);

  bool getBool(std::string_view key) const;         // false
  std::int32_t getInt(std::string_view key) const;  // 0
  Point getPoint(std::string_view key) const;       // (0, 0)
  std::int64_t getTimeVal(std::string_view key, std::int64_t defaultValue) const;

 private:
  template <typename Value>
  static Value find(const KeyedValues<Value>& values, std::string_view key,
                    const Value& defaultValue);

  KeyedValues<bool> bools;
  KeyedValues<std::int32_t> ints;
  KeyedValues<Point> points;
  KeyedValues<std::int64_t> times;
};

#endif
