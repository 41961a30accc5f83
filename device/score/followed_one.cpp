#include "score/followed_one.h"

#include <algorithm>

namespace device {
namespace {

constexpr double ROUNDING = 1e-9;  // seconds, of sums of steps

const Candidate* find(std::span<const Candidate> candidates, std::optional<int> id) {
  const auto found = std::ranges::find_if(
      candidates, [&](const Candidate& candidate) { return candidate.id == id; });
  return found == candidates.end() ? nullptr : &*found;
}

const Candidate& nearestOf(std::span<const Candidate> candidates) {
  return *std::ranges::min_element(candidates, {},
                                   [](const Candidate& candidate) { return candidate.view.error; });
}

}  // namespace

void FollowedOne::follow(double time, double field, std::span<const Candidate> candidates) {
  const std::optional<int> before = chosen;
  chosen = kept(time, field, candidates);
  if (!chosen && !candidates.empty()) {
    chosen = nearestOf(candidates).id;
    lastSeen = time;
    other.reset();
  }
  if (before && chosen != before && find(candidates, before) != nullptr) {
    ++changeCount;
  }
}

std::optional<int> FollowedOne::kept(double time, double field,
                                     std::span<const Candidate> candidates) {
  const Candidate* present = find(candidates, chosen);
  if (present == nullptr) {
    return std::nullopt;
  }
  if (present->view.middleInPicture) {
    lastSeen = time;
  }
  if (time - lastSeen >= PATIENCE - ROUNDING || hasSettledOn(time, field, nearestOf(candidates))) {
    return std::nullopt;
  }
  return chosen;
}

bool FollowedOne::hasSettledOn(double time, double field, const Candidate& nearest) {
  if (nearest.id == chosen || nearest.view.error > SETTLED_SHARE * field) {
    other.reset();
    return false;
  }
  if (other != nearest.id) {
    other = nearest.id;
    otherSince = time;
  }
  return time - otherSince >= PATIENCE - ROUNDING;
}

}  // namespace device
