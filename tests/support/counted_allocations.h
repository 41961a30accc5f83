// How often this program has taken memory from the heap: for tests of what is to take none.
#pragma once

#include <atomic>

// A program has the count when it is built with counted_allocations.cpp.
extern std::atomic<long> s_allocations;
