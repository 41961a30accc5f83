#ifndef DEVICE_SCORE_FOLLOWED_ONE_H
#define DEVICE_SCORE_FOLLOWED_ONE_H

#include <optional>
#include <span>

#include "score/head_view.h"

namespace device {

// One who counts, as the head shows it.
struct Candidate {
  int id = 0;
  PersonInView view;
};

// Tells from what a head shows whom it follows (see Scorer).
class FollowedOne {
 public:
  static constexpr double PATIENCE = 2;         // seconds
  static constexpr double SETTLED_SHARE = 0.1;  // of the picture's width

  // Everybody who counts at a moment; times grow. field: degrees across the picture's width.
  void follow(double time, double field, std::span<const Candidate> candidates);

  std::optional<int> id() const { return chosen; }

  // How often another one was chosen though the one before still counted.
  int changes() const { return changeCount; }

 private:
  std::optional<int> kept(double time, double field, std::span<const Candidate> candidates);
  bool hasSettledOn(double time, double field, const Candidate& nearest);

  std::optional<int> chosen;
  double lastSeen = 0;
  std::optional<int> other;  // on whom the head may be settling
  double otherSince = 0;
  int changeCount = 0;
};

}  // namespace device

#endif
