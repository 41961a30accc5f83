#include "app/memory_lease.h"

#include <malloc.h>
#include <unistd.h>

#include <exception>
#include <fstream>

namespace {

constexpr std::size_t LITTLE = 1U << 20U;  // bytes
constexpr int LARGE = 128 * 1024;          // bytes, as the allocator begins

// Of the process, in bytes; 0 when the system does not tell. What reads it may itself find no
// memory.
std::size_t residentMemory() noexcept try {
  std::ifstream status("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  status >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
} catch (const std::exception&) {
  return 0;
}

}  // namespace

MemoryLease::MemoryLease() noexcept : before(residentMemory()) {}

MemoryLease::~MemoryLease() {
  if (residentMemory() > before + LITTLE) {
    malloc_trim(0);
  }
}

// A threshold that is set is no longer adapted.
void utils::giveLargeBlocksBack() {
  mallopt(M_MMAP_THRESHOLD, LARGE);
}
