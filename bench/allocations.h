#ifndef BENCH_ALLOCATIONS_H
#define BENCH_ALLOCATIONS_H

#include <cstddef>

namespace bench {

// How many blocks the calling thread has taken from the heap so far, by whatever function.
std::size_t allocationCount();

}  // namespace bench

#endif
