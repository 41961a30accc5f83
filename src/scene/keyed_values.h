#ifndef SCENE_KEYED_VALUES_H
#define SCENE_KEYED_VALUES_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A few values by name, in the order of the names. Kept in a row: they are looked up many times in
// each frame, and rarely added.
template <typename Value>
class KeyedValues {
 public:
  struct Entry {
    std::string key;
    Value value;
  };

  // Null when there is none; valid until the next put().
  const Value* find(std::string_view key) const {
    for (const Entry& entry : entries) {
      if (entry.key == key) {
        return &entry.value;
      }
    }
    return nullptr;
  }

  // The same; looks at the place of the hint first and leaves there where the value is.
  const Value* find(std::string_view key, std::size_t& hint) const {
    if (hint < entries.size() && entries[hint].key == key) {
      return &entries[hint].value;
    }
    const auto found = locate(key);
    if (found == entries.end() || found->key != key) {
      return nullptr;
    }
    hint = static_cast<std::size_t>(found - entries.begin());
    return &found->value;
  }

  // Replaces a value of that name.
  void put(std::string_view key, Value value) {
    if (const auto known = std::ranges::find(entries, key, &Entry::key); known != entries.end()) {
      known->value = std::move(value);
    } else {
      entries.insert(locate(key), Entry{std::string(key), std::move(value)});
    }
  }

  auto begin() const { return entries.begin(); }
  auto end() const { return entries.end(); }

 private:
  // The first entry whose name is not less.
  auto locate(std::string_view key) const {
    return std::lower_bound(entries.begin(), entries.end(), key,
                            [](const Entry& entry, std::string_view k) { return entry.key < k; });
  }

  std::vector<Entry> entries;
};

#endif
