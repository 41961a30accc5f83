#ifndef TESTS_FAKES_FAKE_PTZ_MATH_H
#define TESTS_FAKES_FAKE_PTZ_MATH_H

#include <cstdint>
#include <string>
#include <vector>

// The PTZ geometry library of the tests (libptzmath replaced at link time): a plain linear model
// that a test can work out by hand. Process-wide, thread-safe.
//   pan  = centre pan  + (x - width / 2)  * horizontal field angle / width
//   tilt = centre tilt - (y - height / 2) * vertical field angle / height
//   to_remote_zoom = |extent| * horizontal field angle / width
// all computed in double and returned in 16.16 fixed point (rounded).
namespace FakePtzMath {

void reset();

// The mounting of a channel (from 1); a channel without one has no remote centre.
void setCenter(int channel, double pan, double tilt);
void removeCenter(int channel);

int contextsAlive();

// Calls in order, for instance "set_pic_dim 1920 1080", "get_remote_center 1",
// "set_horiz_fov_x 5898240", "to_ptz_x 960 540", "to_remote_zoom 960 540 100".
std::vector<std::string> calls();
void clearCalls();

}  // namespace FakePtzMath

#endif
