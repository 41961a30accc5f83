#ifndef DEVICE_HEAD_HEAD_H
#define DEVICE_HEAD_HEAD_H

#include <deque>
#include <limits>
#include <map>

#include "head/axis.h"

namespace device {

// Where a head looks: degrees (pan -180 to 180 growing to the right, tilt growing upwards) and a
// position on the head's zoom scale.
struct HeadPosition {
  double pan = 0;
  double tilt = 0;
  int zoom = 1;
};

struct HeadSetup {
  AxisSetup pan;       // degrees
  AxisSetup tilt;      // degrees
  double latency = 0;  // seconds from a command to its first effect
  // Seconds for which a speed holds without another command for the axis: a head that nobody
  // commands any more stands still.
  double speedHold = std::numeric_limits<double>::infinity();
  double zoomSpeed = 0;  // zoom steps per second
  int minZoom = 1;
  int maxZoom = 9999;
  double minFieldAngle = 0;  // degrees across the picture's width, fully in
  double maxFieldAngle = 0;  // fully out
  double aspectRatio = 16.0 / 9.0;
  HeadPosition home;
};

// How a command drives an axis; the numbers are those of the PTZ service.
enum class MoveKind { None = 0, Absolute = 1, Continuous = 3 };

// value: degrees or zoom steps for Absolute, percent of full speed (-100 to 100) for Continuous.
struct AxisCommand {
  MoveKind kind = MoveKind::None;
  double value = 0;
};

// An axis with None keeps what it does.
struct HeadCommand {
  AxisCommand pan;
  AxisCommand tilt;
  AxisCommand zoom;
  int speed = 100;  // limit of absolute motions in percent; 0 with zero continuous speeds is a stop
                    // that also drops every command still on its way
};

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

// The PTZ head: three axes behind a command latency. Time passes by step() only; no clock, no lock,
// so its owner steps it (100 times a second or more) and serialises the calls.
class Head {
 public:
  // Stands at its home position.
  explicit Head(const HeadSetup& setup);

  // Queues a command; it takes effect when the latency has passed.
  void command(const HeadCommand& command);

  // Queues the way home at a speed in percent.
  void goHome(int speed);

  // Keeps the present position under a number; false for a number below 1.
  bool setPreset(int preset);

  // Queues the way to a kept position; false when there is none of that number.
  bool goToPreset(int preset, int speed);

  const std::map<int, HeadPosition>& getPresets() const { return presets; }

  // The number of the lowest preset at which the head rests (within half a degree and half a per
  // cent of the zoom range), 0 when it moves or rests elsewhere.
  int presetHere() const;

  // Advances time.
  void step(double seconds);

  // Where the head is now. A command has no part in it before its latency has passed.
  HeadStatus status() const;

  const HeadSetup& getSetup() const { return setup; }

  // The magnification at a zoom position: 1 at minZoom, growing linearly. maxZoom is the divisor.
  static double multiplier(const HeadSetup& setup, double zoom);

 private:
  struct Waiting {
    double remaining;  // seconds until it takes effect
    HeadCommand command;
  };

  void apply(const HeadCommand& command);
  void goTo(const HeadPosition& position, int speed);
  void advance(double seconds);

  HeadSetup setup;
  Axis pan;
  Axis tilt;
  Axis zoom;
  std::deque<Waiting> waitingCommands;
  std::map<int, HeadPosition> presets;
};

}  // namespace device

#endif
