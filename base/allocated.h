// Owner of what malloc, or a library that says so, has allocated.
#ifndef BASE_ALLOCATED_H
#define BASE_ALLOCATED_H

#include <cstdlib>
#include <memory>

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

template <typename T>
using Allocated = std::unique_ptr<T, FreeDeleter>;

#endif
