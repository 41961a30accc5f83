#ifndef TESTS_SRC_CONFIG_JSON_MEMORY_H
#define TESTS_SRC_CONFIG_JSON_MEMORY_H

#include <jansson.h>

#include <cstddef>
#include <cstdlib>

// Counts how often the JSON library reads a text of this length (bytes, none of them escaped or
// blank), until this object goes away: it asks for room for the text, its quotes and its end. One
// at a time, and not beside a JsonMemory.
class JsonReadings {
 public:
  explicit JsonReadings(std::size_t length) {
    s_wanted = length + 3;
    s_count = 0;
    json_set_alloc_funcs(&allocate, &std::free);
  }
  JsonReadings(const JsonReadings&) = delete;
  JsonReadings& operator=(const JsonReadings&) = delete;
  ~JsonReadings() { json_set_alloc_funcs(&std::malloc, &std::free); }

  static int number() { return s_count; }

 private:
  static void* allocate(std::size_t size) {
    s_count += size == s_wanted ? 1 : 0;
    return std::malloc(size);
  }

  static inline std::size_t s_wanted = 0;
  static inline int s_count = 0;
};

// Lets the JSON library run out of memory: after a number of allocations every other one fails,
// until this object goes away. One at a time.
class JsonMemory {
 public:
  explicit JsonMemory(int allocations) {
    s_left = allocations;
    s_failed = false;
    json_set_alloc_funcs(&allocate, &std::free);
  }
  JsonMemory(const JsonMemory&) = delete;
  JsonMemory& operator=(const JsonMemory&) = delete;
  ~JsonMemory() { json_set_alloc_funcs(&std::malloc, &std::free); }

  // Whether an allocation has been refused.
  static bool ranOut() { return s_failed; }

 private:
  static void* allocate(std::size_t size) {
    if (s_left == 0) {
      s_failed = true;
      return nullptr;
    }
    --s_left;
    return std::malloc(size);
  }

  static inline int s_left = 0;
  static inline bool s_failed = false;
};

#endif
