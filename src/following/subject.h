// What the head is to look at: one person or several together, predicted to the moment a command
// acts.
//
// Each person is predicted on the ground at constant velocity and then projected. Several are
// framed by the box that holds all predicted ones: its middle is where to look, and its middle's
// rate is the mean of the rates of those at its edges.
//
// Angles are degrees in the head's frame. Values; no allocation.
#ifndef FOLLOWING_SUBJECT_H
#define FOLLOWING_SUBJECT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "following/ground_filter.h"

namespace following {

// Somebody who is followed.
struct Member {
  const GroundFilter::State* state;  // after the last update
  double height;                     // m, of the body
};

// The direction of one point of the course.
struct Direction {
  double pan;   // deg; along a course it may exceed a turn
  double tilt;  // deg
};

struct Subject {
  static constexpr double COURSE_STEP = 0.1;  // s
  static constexpr std::size_t COURSE_POINTS = 31;

  double pan = 0.0;        // deg, the middle
  double tilt = 0.0;       // deg
  double panRate = 0.0;    // deg/s
  double tiltRate = 0.0;   // deg/s
  double width = 0.0;      // deg, as seen: pan times the cosine of tilt
  double height = 0.0;     // deg
  double deviation = 0.0;  // deg, of the direction that is known worst
  double walks = 0.0;      // 0: all stand, as far as can be told; 1: somebody walks

  // Where the middle will be, from the moment itself on. Only when walks is above half.
  bool hasCourse = false;
  std::array<Direction, COURSE_POINTS> course{};
};

// How sure it is that somebody walks, 0 to 1: a speed above that of standing (m/s) that is clear of
// its deviation.
constexpr double STANDING_SPEED = 0.1;  // m/s
double walking(const GroundFilter::State& state, double standingSpeed = STANDING_SPEED);

// Whether where the subject will be is worked out as well: thirty times the work.
enum class Course { predicted, unknown };

// The members at a time, for a head at a height (m) above the ground. None when there is nobody or
// a number is not finite.
std::optional<Subject> predictSubject(std::span<const Member> members, std::int64_t time,
                                      double headHeight, Course course = Course::predicted);

}  // namespace following

#endif
