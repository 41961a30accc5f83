// The program's own heap functions, which count and hand on to those of the C library. The
// operators new and GLib's functions end here, too.
#include "bench/allocations.h"

#include <cerrno>
#include <cstdlib>

namespace {

thread_local std::size_t t_count = 0;

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) {
  ++t_count;
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  ++t_count;
  return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
  ++t_count;
  return __libc_realloc(memory, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
  ++t_count;
  return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  *memory = memalign(alignment, size);
  return *memory != nullptr ? 0 : ENOMEM;
}

void free(void* memory) {
  __libc_free(memory);
}

}  // extern "C"

namespace bench {

std::size_t allocationCount() {
  return t_count;
}

}  // namespace bench
