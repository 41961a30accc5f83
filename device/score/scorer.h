#ifndef DEVICE_SCORE_SCORER_H
#define DEVICE_SCORE_SCORER_H

#include <memory>
#include <optional>
#include <span>

#include "score/score_figures.h"
#include "score/score_sample.h"

namespace device {

// Judges a head by what it really shows. Pure arithmetic: no clock, no thread, no lock; it keeps a
// few numbers for each sample, unless it is told not to, and a few for each person.
//
// Give it the samples from the tracker's first "running" on, evenly spaced and 20 a second or more
// (motions are told from sample to sample).
//
// Who is followed is told from the head alone: at the start whoever of those who count is nearest
// to its axis. That one is kept until it counts no longer, or the middle of its body has been out
// of the picture for 2 s, or the head has settled on another for 2 s: the same other one who counts
// was nearest to the axis and within a tenth of the picture's width of it. Then again the nearest
// is.
class Scorer {
 public:
  // keepsMoments: what figures() needs for the errors. Without it these are empty, and nothing is
  // kept for a sample.
  explicit Scorer(const ScoreSetup& setup, bool keepsMoments = true);
  Scorer(Scorer&&) noexcept;
  Scorer& operator=(Scorer&&) noexcept;
  ~Scorer();

  void add(const ScoreSample& sample);

  // The followed one of the last sample.
  std::optional<int> followed() const;

  // Of all samples so far.
  ScoreFigures figures() const;
  RunningScore runningScore() const;

 private:
  class Run;
  std::unique_ptr<Run> run;
};

// Of a whole run.
ScoreFigures scoreOf(std::span<const ScoreSample> samples, const ScoreSetup& setup);

}  // namespace device

#endif
