#ifndef DEVICE_HEAD_DRIVE_CURVE_H
#define DEVICE_HEAD_DRIVE_CURVE_H

namespace device {

// What a head makes of a commanded speed. Without any of it the percent of the command is the
// percent of full speed.
struct DriveCurve {
  double deadZone = 0;  // percent; below it the axis stands still
  double step = 0;      // percent; the command is rounded to a multiple, 0 for none
  double exponent = 1;  // speed over full speed is (percent / 100) to this power
};

// The percent of full speed that an axis turns at for a commanded percent (-100 to 100), signed as
// the command.
double drivenPercent(const DriveCurve& curve, double command);

}  // namespace device

#endif
