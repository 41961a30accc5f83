// What the daemon's classes stand on in the benchmarks: a device that answers at once and remembers
// nothing, so that only the daemon's own work is measured.
#ifndef BENCH_SURROUNDINGS_H
#define BENCH_SURROUNDINGS_H

#include <cstddef>
#include <cstdint>

namespace bench {

// Prepares parameters, events, lens and clock, once, whoever calls first. To be called before any
// object of the daemon is made.
void prepareSurroundings();

// Ends the daemon's threads. After all objects of the daemon are gone.
void removeSurroundings();

// Moves the time on. Nobody wakes up.
void passTime(std::int64_t microseconds);
std::int64_t timeNow();

// Where the head says it is, degrees and the head's zoom scale.
void setHead(double pan, double tilt, int zoom);

// How many movements it was commanded so far.
std::size_t headMoveCount();

}  // namespace bench

#endif
