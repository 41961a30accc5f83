#ifndef TRACKER_TARGET_H
#define TRACKER_TARGET_H

// The box of the group to follow, in the head's angles (degrees).
struct Target {
  double pan = 0.0;
  double tilt = 0.0;
  double width = 0.0;
  double height = 0.0;
};

#endif
