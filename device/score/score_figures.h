#ifndef DEVICE_SCORE_SCORE_FIGURES_H
#define DEVICE_SCORE_SCORE_FIGURES_H

#include <array>
#include <optional>
#include <vector>

namespace device {

// What is asked of a picture: pixels a metre on the person (EN 62676-4).
inline constexpr double DETECT = 25;
inline constexpr double RECOGNISE = 125;
inline constexpr double IDENTIFY = 250;

// How often a density was reached by somebody who counts and is wholly in the picture.
struct DensityFigures {
  double leastDensity = 0;            // pixels a metre
  double seconds = 0;                 // with at least one such person
  double personSeconds = 0;           // the time of each of them, added up
  std::optional<double> share;        // of the time with somebody to follow
  std::optional<double> personShare;  // of everybody's time
};

// Between the head's axis and the middle of the followed one's body. Over time: the median is what
// half of the time does not exceed.
struct ErrorFigures {
  double median = 0;
  double rms = 0;
  double p95 = 0;
};

// True motion, told from sample to sample.
struct MotionFigures {
  double startsPerSecond = 0;     // from at most 0.5 degrees a second to more, pan and tilt as one
  double reversalsPerSecond = 0;  // of pan and of tilt, at 0.5 degrees a second or more each way
  double accelerationRms = 0;     // degrees a second squared, pan and tilt as one
  double zoomReversalsPerSecond =
      0;  // at 5 per cent of the magnification a second or more each way
};

// From entering, with nobody else there, to being recognised. One who is not counts with the whole
// stay.
struct AcquisitionFigures {
  int count = 0;                 // how often somebody entered with nobody else there
  int never = 0;                 // of them, without being recognised
  std::optional<double> median;  // seconds
  std::optional<double> p90;
};

// One person's, over all its stays. A stay is the time for which somebody counts without a break.
struct PersonFigures {
  int id = 0;
  double seconds = 0;    // of its stays
  double inPicture = 0;  // share of them with the middle of the body in the picture
  double share20 = 0;    // ... with 20 % or more of the picture's height covered
  double share40 = 0;
  std::array<double, 3> density{};    // ... wholly in the picture at DETECT, RECOGNISE, IDENTIFY
  std::optional<double> acquisition;  // seconds from first entering to being recognised, with
                                      // others there or not; never counts as the whole stay
  bool everRecognised = false;        // in its first stay
  // While it was the followed one; empty when it never was.
  double followedSeconds = 0;
  std::optional<ErrorFigures> error;      // degrees
  std::optional<ErrorFigures> lateError;  // degrees, without the first 2 s of each stay
  std::optional<MotionFigures> motion;
};

// A run's score. Time is that of all samples but the first, nothing left out. What there was no
// time for is empty.
struct ScoreFigures {
  double seconds = 0;
  double secondsWithSomebody = 0;  // somebody counts
  double personSeconds = 0;        // the time of each who counts, added up

  std::array<DensityFigures, 3> density{};  // DETECT, RECOGNISE, IDENTIFY
  // Of the time with somebody to follow: at least one of them covers 20 % (40 %) of the picture's
  // height or more with what of the body is in the picture.
  std::optional<double> share20;
  std::optional<double> share40;
  // ... the middle of at least one body is in the picture.
  std::optional<double> inPicture;

  AcquisitionFigures acquisition;
  std::optional<ErrorFigures> error;         // degrees
  std::optional<ErrorFigures> errorInWidth;  // shares of the picture's width
  int followedChanges = 0;  // another one was followed though the one before still counted
  MotionFigures motion;

  std::vector<PersonFigures> people;  // who ever counted, by id
};

// What can be told of a run at any time at no cost. Shares are of the time with somebody to follow.
struct RunningScore {
  double seconds = 0;
  double secondsWithSomebody = 0;
  std::array<std::optional<double>, 3> density{};  // DETECT, RECOGNISE, IDENTIFY
  std::optional<double> inPicture;
  std::optional<double> rms;  // degrees, error to the followed one
  int followedChanges = 0;
  MotionFigures motion;
  AcquisitionFigures acquisition;
};

// Of values in any order, the least that is not exceeded by the share (0 to 1) of them. At least
// one value.
double quantileOf(std::vector<double> values, double share);

}  // namespace device

#endif
