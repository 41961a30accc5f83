#include "score/sampling.h"

#include "score/baselines.h"

namespace score {

std::vector<device::ScoredPerson> scoredPeople(const device::World& world, double time,
                                               const Counts& counts) {
  std::vector<device::ScoredPerson> people;
  for (const device::PersonView& view : world.people(time)) {
    people.push_back(
        {.id = view.id, .position = view.position, .height = view.tall, .counts = counts(view)});
  }
  return people;
}

std::vector<device::ScoreSample> record(Simulation& simulation, double from, double to,
                                        const Counts& counts) {
  std::vector<device::ScoreSample> samples;
  bool hasRun = false;
  simulation.onSample = [&](double time) {
    hasRun = hasRun || simulation.device().state() == "running";
    if (time < from || !hasRun) {
      return;
    }
    samples.push_back({.time = time,
                       .head = device::poseOf(simulation.device().head().status()),
                       .people = scoredPeople(simulation.world(), time, counts)});
  };
  simulation.runUntil(to);
  simulation.onSample = nullptr;
  return samples;
}

}  // namespace score
