// How tests compare commands to the head.
#ifndef TESTS_SRC_TRACKER_MOVES_H
#define TESTS_SRC_TRACKER_MOVES_H

#include <gmock/gmock.h>

#include <ostream>
#include <vector>

#include "fakes/fake_ptz_library.h"

inline void PrintTo(const FakePtzLibrary::Move& move, std::ostream* out) {
  *out << "pan " << move.pan << " (" << move.panKind << ") tilt " << move.tilt << " ("
       << move.tiltKind << ") zoom " << move.zoom << " (" << move.zoomKind << ") speed "
       << move.speed;
}

namespace FakePtzLibrary {
using ::PrintTo;
}

// A command as the tracker gives it: value and kind of each axis.
MATCHER_P6(IsMove, pan, panKind, tilt, tiltKind, zoom, zoomKind, "") {
  constexpr double FINE = 1e-9;
  return testing::Value(arg.pan, testing::DoubleNear(pan, FINE)) && arg.panKind == panKind &&
         testing::Value(arg.tilt, testing::DoubleNear(tilt, FINE)) && arg.tiltKind == tiltKind &&
         arg.zoom == zoom && arg.zoomKind == zoomKind && arg.speed == 100 && arg.channel == 1 &&
         arg.source == "Trailmark" && arg.reserved == std::vector<int>(4, 0);
}

// All axes at rest, and whatever was queued dropped.
MATCHER(IsStop, "") {
  return arg.pan == 0.0 && arg.panKind == 3 && arg.tilt == 0.0 && arg.tiltKind == 3 &&
         arg.zoom == 0 && arg.zoomKind == 3 && arg.speed == 0 && arg.channel == 1 &&
         arg.source == "Trailmark" && arg.reserved == std::vector<int>(4, 0);
}

#endif
