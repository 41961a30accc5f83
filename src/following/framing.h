// How far to zoom in: as far as the subject's size asks for, its recent error and its uncertainty
// allow. Angles are degrees. Pure arithmetic; the time is an argument.
#ifndef FOLLOWING_FRAMING_H
#define FOLLOWING_FRAMING_H

#include <optional>

#include "following/subject.h"

namespace following {

// The pictures of a head: what its zoom can do.
struct Lens {
  double maxField = 63.4;      // deg, of the picture's width, widest
  double minField = 2.5;       // deg
  double aspect = 16.0 / 9.0;  // width over height

  double maxMagnification() const { return maxField / minField; }
  // The horizontal field (deg) at a magnification.
  double fieldAt(double magnification) const { return maxField / magnification; }
};

// The magnification that fills the picture with a subject, sharpness aside.
double fillingMagnification(const Lens& lens, double width, double height);

// The one that leaves room for so many degrees of error to each side.
double roomyMagnification(const Lens& lens, double width, double height, double error,
                          double deviation);

class Framing {
 public:
  static constexpr double FORGETTING = 0.5;   // s
  static constexpr double LONGEST_GAP = 1.5;  // s, after which the zoom goes in no more

  explicit Framing(const Lens& lens);

  // One control step, so many seconds after the one before. error: of this step, in the picture;
  // gap: seconds since the subject was last seen. The magnification to ask the head for, when it
  // should change.
  std::optional<double> step(double seconds, const Subject& subject, double error, double gap);

  // Begins anew at a magnification that the head has.
  void reset(double magnification);

  double asked() const { return magnification; }
  // On the head's scale, 0 widest to 1.
  double position() const;

 private:
  Lens lens;
  double magnification = 1.0;
  double recentError = 0.0;  // deg
};

}  // namespace following

#endif
