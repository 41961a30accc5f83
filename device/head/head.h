#ifndef DEVICE_HEAD_HEAD_H
#define DEVICE_HEAD_HEAD_H

#include <cstdint>
#include <limits>
#include <map>

#include "head/axis.h"
#include "head/call_delay.h"
#include "head/command_link.h"
#include "head/drive_curve.h"
#include "head/head_command.h"
#include "head/head_status.h"
#include "head/status_sensor.h"
#include "head/zoom_curve.h"

namespace device {

// Where a head looks: degrees (pan -180 to 180 growing to the right, tilt growing upwards) and a
// position on the head's zoom scale.
struct HeadPosition {
  double pan = 0;
  double tilt = 0;
  int zoom = 1;
};

struct HeadSetup {
  AxisSetup pan;   // degrees
  AxisSetup tilt;  // degrees
  CommandLinkSetup link;
  DriveCurve drive;  // of pan and tilt
  StatusSensorSetup status;
  CallDelaySetup calls;  // for whoever offers the head as a service
  // Seconds for which a speed holds without another command for the axis: a head that nobody
  // commands any more stands still.
  double speedHold = std::numeric_limits<double>::infinity();
  double zoomSpeed = 0;  // zoom steps per second
  int minZoom = 1;
  int maxZoom = 9999;
  double minFieldAngle = 0;  // degrees across the picture's width, fully in
  double maxFieldAngle = 0;  // fully out
  ZoomCurve zoomCurve;
  double aspectRatio = 16.0 / 9.0;
  HeadPosition home;
};

// The PTZ head: three axes behind a link for its commands, and a sensor that tells where it is.
// Time passes by step() only; no clock, no lock, so its owner steps it (100 times a second or more)
// and serialises the calls.
class Head {
 public:
  // Stands at its home position. The seed is that of all its chance.
  explicit Head(const HeadSetup& setup, std::uint64_t seed = 1);

  // Queues a command; it takes effect when the latency has passed.
  void command(const HeadCommand& command);

  // Queues the way home at a speed in percent.
  void goHome(int speed);

  // Keeps the present position under a number; false for a number below 1.
  bool setPreset(int preset);

  // Queues the way to a kept position; false when there is none of that number.
  bool goToPreset(int preset, int speed);

  // False when there is none of that number.
  bool removePreset(int preset);

  const std::map<int, HeadPosition>& getPresets() const { return presets; }

  // The number of the lowest preset at which the head rests (within half a degree and half a per
  // cent of the zoom range), 0 when it moves or rests elsewhere.
  int presetHere() const;

  // Advances time.
  void step(double seconds);

  // True while a command is on its way that has taken no effect yet.
  bool isCommandOnItsWay() const { return link.untilNext().has_value(); }

  // Where the head really looks now. A command has no part in it before its latency has passed.
  HeadStatus status() const;

  // Where the head says that it is: what its sensor at the motors tells of them, which knows of no
  // play and no swing.
  HeadStatus toldStatus();

  // The network in front of the head's service, with the head's own chance.
  CallDelay makeCallDelay() const { return {setup.calls, seed}; }

  const HeadSetup& getSetup() const { return setup; }

  // The magnification at a zoom position: 1 at minZoom. A linear curve has maxZoom as the divisor.
  static double multiplier(const HeadSetup& setup, double zoom);

  // Degrees across the picture's width at a zoom position.
  static double fieldAngle(const HeadSetup& setup, double zoom);

 private:
  void apply(const HeadCommand& command);
  void goTo(const HeadPosition& position, int speed);
  void advance(double seconds);
  void move(double seconds);
  HeadStatus statusAt(double panAngle, double tiltAngle) const;
  HeadStatus motorStatus() const;

  HeadSetup setup;
  std::uint64_t seed;
  Axis pan;
  Axis tilt;
  Axis zoom;
  CommandLink link;
  StatusSensor sensor;
  std::map<int, HeadPosition> presets;
};

}  // namespace device

#endif
