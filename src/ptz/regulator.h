#ifndef PTZ_REGULATOR_H
#define PTZ_REGULATOR_H

#include <cstdint>
#include <string>

#include "ptz/pid.h"

// Turns where the head should look and where it looks now into three speeds. Switches itself on
// when a target arrives, and off when the target has gone stale: 1.5 s after the last one once all
// loops have settled, 7 s after it in any case.
//
// Pan and tilt are degrees, zoom is a magnification factor (1 to 6), speeds are percent of full
// speed (-100 to 100). Inputs outside pan [-360, 360], tilt [-95, 95] and zoom [1, 6] are clamped.
// No lock: used by the tracker's thread alone.
class Regulator {
 public:
  enum class State : std::int32_t { inactive = 0, active = 1 };

  // The zoom error below which the loop may settle, exactly 0.4000000059604645. No speed shows it,
  // as the band of the loop's output is narrower.
  static constexpr double ZOOM_ERROR_DEADBAND = static_cast<double>(0.4F);

  Regulator();

  // A new set point; activates.
  void updateTargetPosition(double pan, double tilt, double zoom);

  // One control step with the measured position; may deactivate.
  void updateCurrentPosition(double pan, double tilt, double zoom);

  void getSpeeds(double& pan, double& tilt, double& zoom) const;

  void activate();
  void inactivate();

  static double lerp(double a, double b, double t);

  // The relay tuning of the pan and tilt loops (Pid).
  void autotuneStart(double panSetpoint, double panAmplitude, double tiltSetpoint,
                     double tiltAmplitude);

  // One step of both loops; true when both have finished.
  bool autotuneRun(double pan, double tilt, double& panOut, double& tiltOut);

  // Both loops succeeded.
  bool autotuned() const;

  void setPanPid(double kp, double ki, double kd);
  void setTiltPid(double kp, double ki, double kd);

  // Only for tests, both.
  void getPanPid(double* kp, double* ki, double* kd) const;
  void getTiltPid(double* kp, double* ki, double* kd) const;

  void getPanAutotunePid(double* kp, double* ki, double* kd) const;
  void getTiltAutotunePid(double* kp, double* ki, double* kd) const;

  // Logs what failed in tuning.
  void pidDebug() const;

  // "pan speed: ..., tilt speed: ..., zoom speed: ...".
  // Only for developers' logs.
  std::string toString() const;

  // A zoom loop that is not enabled gives no speed and is left out of settling: for heads that are
  // zoomed by absolute commands.
  void setZoomEnabled(bool enabled) { zoomPid.setEnabled(enabled); }
  bool isZoomEnabled() const { return zoomPid.isEnabled(); }

  State getState() const { return state; }
  double getTargetZoom() const { return targetZoom; }

  // Only for tests, all of them; the last tells whether a target zoom above 1.1 has ever arrived.
  double getTargetPan() const { return targetPan; }
  double getTargetTilt() const { return targetTilt; }
  double getSmoothedZoom() const { return smoothedZoom; }
  bool isZoomEngaged() const { return zoomEngaged; }

 private:
  void smoothZoom();
  double zoomSetValue() const;
  bool isSettled() const;

  State state = State::inactive;
  double targetPan = 0.0;
  double targetTilt = 0.0;
  double targetZoom = 1.0;
  double smoothedZoom = 1.0;
  double panSpeed = 0.0;
  double tiltSpeed = 0.0;
  double zoomSpeed = 0.0;
  std::int64_t lastTargetTime = 0;  // monotonic microseconds; 0: never
  bool zoomEngaged = false;
  Pid panPid;
  Pid tiltPid;
  Pid zoomPid;
};

#endif
