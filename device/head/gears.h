#ifndef DEVICE_HEAD_GEARS_H
#define DEVICE_HEAD_GEARS_H

namespace device {

struct GearsSetup {
  double play = 0;  // degrees that the motor turns before the head follows when it turns back
  // Degrees by which the head swings beyond the motor when that brakes at full acceleration.
  double overshoot = 0;
};

// What lies between a motor and what it turns: play, and a mount that is not stiff. Both are told
// as the head's position beside the motor's, which needs no range and no seam.
class Gears {
 public:
  // acceleration: the motor's full one, degrees per second squared.
  Gears(const GearsSetup& setup, double acceleration);

  // The motor turned by a way in a time, at an acceleration.
  void step(double seconds, double way, double acceleration);

  // Degrees to add to the motor's position.
  double offset() const { return slack + swing; }

  // True while the mount has not come to rest.
  bool swinging() const;

 private:
  void takeUpPlay(double way);
  void swingOn(double seconds, double acceleration);

  double halfPlay;
  double frequency = 0;  // of the swing, radians per second; 0 for a stiff mount
  double slack = 0;      // degrees, of the play
  double swing = 0;      // degrees
  double swingSpeed = 0;
};

}  // namespace device

#endif
