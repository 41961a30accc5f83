#ifndef DEVICE_SCORE_HEAD_VIEW_H
#define DEVICE_SCORE_HEAD_VIEW_H

#include "score/score_sample.h"

namespace device {

// How somebody is shown.
struct PersonInView {
  double error = 0;  // degrees between the axis and the middle of the body
  bool middleInPicture = false;
  bool wholeInPicture = false;  // from feet to crown and from side to side
  double density = 0;      // pixels a metre at the middle of the body; 0 behind the picture's plane
  double heightShare = 0;  // of the picture's height, covered by what of the body is in it
};

// A person's width, metres.
inline constexpr double SCORED_WIDTH = 0.5;

// The direction of the middle of a body as seen from the head.
Direction middleOf(const ScoredPerson& person, const ScoreSetup& setup);

// What a head's picture shows: a pinhole's with square pixels.
class HeadView {
 public:
  HeadView(const HeadPose& pose, const ScoreSetup& setup);

  PersonInView viewOf(const ScoredPerson& person) const;

 private:
  // In the head's own axes, metres.
  SpacePoint inHead(const SpacePoint& point) const;
  bool isInPicture(const SpacePoint& inHead) const;
  double coveredHeight(const SpacePoint& feet, const SpacePoint& crown) const;

  ScoreSetup setup;
  double sinePan;
  double cosinePan;
  double sineTilt;
  double cosineTilt;
  double halfWidth;   // at a depth of 1
  double halfHeight;  // at a depth of 1
};

}  // namespace device

#endif
