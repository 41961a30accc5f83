#ifndef DEVICE_WORLD_PEOPLE_GENERATOR_H
#define DEVICE_WORLD_PEOPLE_GENERATOR_H

#include <cstdint>

#include "world/tracks.h"

namespace device {

// The product's own people: a repeatable hour of a quiet square of 14 by 10 metres. One to six
// people are there at once; they enter over an edge, walk on smooth ways at 0.8 to 1.8 m/s and
// leave over another edge. About once a minute nobody is there for 20 s, so that a head that
// follows them finds time to go home. The same seed gives the same people.
TrackSet generatePeople(std::uint64_t seed, double seconds = 3600);

}  // namespace device

#endif
