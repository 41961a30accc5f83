#ifndef TESTS_SRC_CONFIG_JSON_MEMORY_H
#define TESTS_SRC_CONFIG_JSON_MEMORY_H

#include <jansson.h>

#include <cstddef>
#include <cstdlib>

// Lets the JSON library run out of memory: after a number of allocations every other one fails,
// until this object goes away. One at a time.
class JsonMemory {
 public:
  explicit JsonMemory(int allocations) {
    left = allocations;
    failed = false;
    json_set_alloc_funcs(&allocate, &std::free);
  }
  JsonMemory(const JsonMemory&) = delete;
  JsonMemory& operator=(const JsonMemory&) = delete;
  ~JsonMemory() { json_set_alloc_funcs(&std::malloc, &std::free); }

  // Whether an allocation has been refused.
  static bool ranOut() { return failed; }

 private:
  static void* allocate(std::size_t size) {
    if (left == 0) {
      failed = true;
      return nullptr;
    }
    --left;
    return std::malloc(size);
  }

  static inline int left = 0;
  static inline bool failed = false;
};

#endif
