#ifndef DEVICE_REPORT_SESSION_H
#define DEVICE_REPORT_SESSION_H

#include <optional>
#include <string>
#include <vector>

#include "world/direction.h"

namespace device {

// The person that the head ought to look at.
struct Target {
  int id = 0;
  Direction centre;
  double height = 0;  // degrees
};

// The truth at one moment. It stands for the time since the moment before.
struct Moment {
  double time = 0;               // seconds since the device's start
  Direction axis;                // of the head
  double zoom = 1;               // magnification: widest picture over present picture
  double pictureHeight = 0;      // degrees
  std::optional<Target> target;  // the person inside the include area nearest to the axis
  bool anyInView = false;        // somebody inside the include area lies within the head's picture
  bool targetInView = false;
  bool lastTargetInside = false;  // the target of the moment before is still inside
  bool counted = false;           // tracker running, and somebody inside for long enough
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
