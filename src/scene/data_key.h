#ifndef SCENE_DATA_KEY_H
#define SCENE_DATA_KEY_H

#include <cstddef>
#include <string>
#include <utility>

// The name under which one filter or guard keeps its memory on every object. Remembers where the
// last object had it, as most objects have it at the same place. Used by one thread at a time.
class DataKey {
 public:
  explicit DataKey(std::string text) : text(std::move(text)) {}

  const std::string& getText() const { return text; }
  bool operator==(const DataKey& other) const { return text == other.text; }

 private:
  friend class TrackingObject;

  std::string text;
  mutable std::size_t place = 0;
};

#endif
