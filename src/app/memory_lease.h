#ifndef APP_MEMORY_LEASE_H
#define APP_MEMORY_LEASE_H

#include <cstddef>

// Around work that takes much memory for a moment, as a large document does: at its end, what the
// work has freed goes back to the system, which the allocator would keep for the next time. Little
// is not worth the effort and stays. To be made before, and so destroyed after, what it is about.
class MemoryLease {
 public:
  MemoryLease() noexcept;
  ~MemoryLease();
  MemoryLease(const MemoryLease&) = delete;
  MemoryLease& operator=(const MemoryLease&) = delete;

 private:
  const std::size_t before;  // bytes
};

namespace utils {

// For the start: from now on a large block (128 KiB and more) goes back to the system when it is
// freed, whoever frees it. The allocator would otherwise learn from the first ones to keep all that
// are no larger, as are the texts of requests and answers, which the HTTP library frees.
void giveLargeBlocksBack();

}  // namespace utils

#endif
