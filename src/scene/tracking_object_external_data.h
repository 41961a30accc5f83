#ifndef SCENE_TRACKING_OBJECT_EXTERNAL_DATA_H
#define SCENE_TRACKING_OBJECT_EXTERNAL_DATA_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "geometry/point.h"

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
  void insert(const std::string& key, bool value);
  void insert(const std::string& key, std::int32_t value);
  void insert(const std::string& key, const Point& value);
  void insert(const std::string& key, std::int64_t value);

  bool getBool(const std::string& key) const;         // false
  std::int32_t getInt(const std::string& key) const;  // 0
  Point getPoint(const std::string& key) const;       // (0, 0)
  std::int64_t getTimeVal(const std::string& key, std::int64_t defaultValue) const;

 private:
  std::map<std::string, bool> bools;
  std::map<std::string, std::int32_t> ints;
  std::map<std::string, Point> points;
  std::map<std::string, std::int64_t> times;
};

#endif
