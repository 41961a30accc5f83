#include "support/counted_allocations.h"

#include <cstdlib>
#include <new>

std::atomic<long> s_allocations{0};

// Each of new and each of delete that the standard library calls: one of them alone would give
// back what the other's owner has handed out.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++s_allocations;
  return std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size) {
  void* block = operator new(size, std::nothrow);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}
