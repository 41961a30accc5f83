#include "score/acquisitions.h"

#include <algorithm>
#include <utility>

namespace device {

void Acquisitions::follow(double time, double seconds, std::span<const Candidate> candidates) {
  now = time;
  const bool canEnter = std::exchange(hasBegun, true);
  std::map<int, std::size_t> staying;
  for (const Candidate& candidate : candidates) {
    const auto known = present.find(candidate.id);
    if (known == present.end()) {
      firsts.try_emplace(candidate.id, all.size());
      staying[candidate.id] = all.size();
      all.push_back({.person = candidate.id,
                     .alone = canEnter && candidates.size() == 1,
                     .since = time,
                     .recognisedAfter = {}});
    } else {
      staying.insert(*known);
    }
    Acquisition& stay = all[staying[candidate.id]];
    stay.seconds += seconds;
    const bool recognised = candidate.view.wholeInPicture && candidate.view.density >= RECOGNISE;
    if (recognised && !stay.recognisedAfter) {
      stay.recognisedAfter = time - stay.since;
    }
  }
  present = std::move(staying);
}

double Acquisitions::stayedFor(int person) const {
  const auto known = present.find(person);
  return known == present.end() ? 0 : now - all[known->second].since;
}

AcquisitionFigures Acquisitions::figures() const {
  AcquisitionFigures figures;
  std::vector<double> values;
  for (const Acquisition& stay : all) {
    if (stay.alone) {
      values.push_back(stay.value());
      figures.never += stay.recognisedAfter ? 0 : 1;
    }
  }
  figures.count = static_cast<int>(values.size());
  if (!values.empty()) {
    figures.median = quantileOf(values, 0.5);
    figures.p90 = quantileOf(std::move(values), 0.9);
  }
  return figures;
}

const Acquisition* Acquisitions::firstOf(int person) const {
  const auto known = firsts.find(person);
  return known == firsts.end() ? nullptr : &all[known->second];
}

}  // namespace device
