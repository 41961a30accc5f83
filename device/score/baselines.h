#ifndef DEVICE_SCORE_BASELINES_H
#define DEVICE_SCORE_BASELINES_H

#include <span>
#include <vector>

#include "head/head.h"
#include "score/score_figures.h"
#include "score/score_sample.h"

namespace device {

// What other heads would earn with the same people at the same times. Samples are evenly spaced;
// their own heads have no part in it.

// The one pose within the head's reach from which, for the most time, somebody who counts covers 20
// % of the picture's height or more; of equal ones, that with the most time at RECOGNISE. Found on
// a grid that is made finer around its best points. Home when nobody ever counts.
HeadPose bestFixedPose(std::span<const ScoreSample> samples, const ScoreSetup& setup,
                       const HeadSetup& head);

// A head that knows everybody's way and itself: one pose for each sample. It sets out from home
// when somebody enters and its mean latency has passed, follows that one until it leaves, then
// whoever is nearest, and goes home when nobody is there; never faster nor harder accelerated than
// the head can be. Its zoom lets the person fill 55 % of the picture's height.
std::vector<HeadPose> clairvoyantPoses(std::span<const ScoreSample> samples,
                                       const ScoreSetup& setup, const HeadSetup& head);

// The score of a head that looks elsewhere: one pose for all samples, or one for each.
ScoreFigures scoreWith(std::span<const ScoreSample> samples, std::span<const HeadPose> poses,
                       const ScoreSetup& setup);

struct Baselines {
  ScoreFigures home;
  ScoreFigures fixed;
  ScoreFigures bound;  // of the clairvoyant head
  HeadPose fixedPose;
};

Baselines baselinesOf(std::span<const ScoreSample> samples, const ScoreSetup& setup,
                      const HeadSetup& head);

}  // namespace device

#endif
