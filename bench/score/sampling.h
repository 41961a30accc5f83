#ifndef SCORE_SAMPLING_H
#define SCORE_SAMPLING_H

#include <functional>
#include <vector>

#include "score/score_sample.h"
#include "score/simulation.h"
#include "world/world.h"

namespace score {

// Whether somebody counts.
using Counts = std::function<bool(const device::PersonView&)>;

// Everybody who is there at a time of the world, in seconds.
std::vector<device::ScoredPerson> scoredPeople(const device::World& world, double time,
                                               const Counts& counts);

// Runs the simulation to the second "to" and returns the samples from the second "from" on, but
// none from before the tracker runs for the first time. What becomes of it afterwards leaves
// nothing out.
std::vector<device::ScoreSample> record(Simulation& simulation, double from, double to,
                                        const Counts& counts);

}  // namespace score

#endif
