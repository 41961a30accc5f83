#ifndef DEVICE_REPORT_SESSION_H
#define DEVICE_REPORT_SESSION_H

#include <optional>
#include <string>
#include <vector>

#include "world/direction.h"

namespace device {

// What a plot shows of a moment.
struct Moment {
  double time = 0;  // seconds since the device's start
  Direction axis;   // of the head
  double zoom = 1;  // magnification: widest picture over present picture
  // Of the followed one, from the tracker's first "running" on.
  std::optional<Direction> followed{};
  double density = 0;  // pixels a metre on the followed one, 0 when it is not wholly in the picture
};

// Something that begins at a time.
struct Mark {
  double time = 0;
  std::string name;
};

// Something that lasts; without an end it lasts still.
struct Interval {
  double start = 0;
  std::optional<double> end;
};

// All that happened in a run, in order.
struct Session {
  std::vector<Moment> moments;
  std::vector<Mark> states;  // of the tracker, each a change
  std::vector<Interval> alarms;
  std::vector<Interval> steering;  // the tracker said that it steers the head
};

}  // namespace device

#endif
