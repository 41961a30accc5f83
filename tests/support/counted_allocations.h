// How often this program has taken memory from the heap: for tests of what is to take none.
#ifndef TESTS_SUPPORT_COUNTED_ALLOCATIONS_H
#define TESTS_SUPPORT_COUNTED_ALLOCATIONS_H

#include <atomic>

// A program has the count when it is built with counted_allocations.cpp.
extern std::atomic<long> s_allocations;

#endif
