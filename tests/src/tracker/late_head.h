// A head for tests of tuning: turns as it is told, a degree a second for each percent, but three
// steps of 50 ms late and 20 degrees a second faster or slower at each. Absolute positions are
// reached at once.
#ifndef TESTS_SRC_TRACKER_LATE_HEAD_H
#define TESTS_SRC_TRACKER_LATE_HEAD_H

#include <algorithm>
#include <deque>
#include <vector>

#include "fakes/fake_ptz_library.h"

class LateHead {
 public:
  LateHead() { tell(); }

  // What the head library would have done with these in the next 50 ms.
  void take(const std::vector<FakePtzLibrary::Move>& moves) {
    for (const FakePtzLibrary::Move& move : moves) {
      if (move.panKind == ABSOLUTE) {
        pan = move.pan;
        tilt = move.tilt;
        pending.assign(3, Speeds{});
        wanted = {};
        speed = {};
      } else {
        wanted = {move.pan, move.tilt};
      }
      zoom = move.zoomKind == ABSOLUTE ? move.zoom : zoom;
    }
    pending.push_back(wanted);
    speed.pan += std::clamp(pending.front().pan * gain - speed.pan, -20.0, 20.0);
    speed.tilt += std::clamp(pending.front().tilt * gain - speed.tilt, -20.0, 20.0);
    pan += speed.pan * 0.05;
    tilt = std::clamp(tilt + speed.tilt * 0.05, -90.0, 20.0);
    pending.pop_front();
    tell();
  }

  double pan = 0.0;
  double tilt = 0.0;
  double gain = 1.0;  // 0: it is stuck
  int zoom = 1;
  int zoomUnits = 1;  // in which it counts, of those that it is told in

 private:
  static constexpr int ABSOLUTE = 1;

  struct Speeds {
    double pan = 0.0;
    double tilt = 0.0;
  };

  void tell() const {
    FakePtzLibrary::setStatus(
        {static_cast<float>(pan), 0, static_cast<float>(tilt), 0, zoom * zoomUnits, 0});
  }

  Speeds wanted;
  Speeds speed;
  std::deque<Speeds> pending = std::deque<Speeds>(3);
};

#endif
