#ifndef DEVICE_HEAD_HEAD_STATUS_H
#define DEVICE_HEAD_HEAD_STATUS_H

namespace device {

struct HeadStatus {
  double pan = 0;   // degrees, [-180, 180)
  double tilt = 0;  // degrees
  int zoom = 1;
  bool panMoving = false;
  bool tiltMoving = false;
  bool zoomMoving = false;
  double magnification = 1;  // 1 fully out
  double pictureWidth = 0;   // degrees
  double pictureHeight = 0;  // degrees

  bool moving() const { return panMoving || tiltMoving || zoomMoving; }
};

}  // namespace device

#endif
