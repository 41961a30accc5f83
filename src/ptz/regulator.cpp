#include "ptz/regulator.h"

#include <glib.h>

#include <algorithm>
#include <cmath>

#include "app/clock.h"
#include "base/glib_ptr.h"
#include "base/units.h"
#include "ptz/bearing.h"

namespace {

constexpr double MAX_PAN = 360.0;  // degrees
constexpr double MAX_TILT = 95.0;  // degrees
constexpr double MIN_ZOOM = 1.0;
constexpr double MAX_ZOOM = 6.0;
constexpr double ZOOM_ENGAGED_LIMIT = static_cast<double>(1.1F);

// Zooming in goes slowly, zooming out quickly.
constexpr double ZOOM_IN_WEIGHT = static_cast<double>(0.15F);
constexpr double ZOOM_OUT_WEIGHT = 0.75;

constexpr double FAST_SPEED = 25.0;     // percent: above it the zoom is fully out
constexpr double MODERATE_SPEED = 5.0;  // percent: above it the zoom is reduced

constexpr float SETTLED_TIMEOUT = 1.5F;  // seconds
constexpr float TARGET_TIMEOUT = 7.0F;   // seconds
constexpr auto MICROSECONDS_PER_SECOND = static_cast<float>(units::MICROSECONDS_PER_SECOND);

constexpr const char* PAN_NAME = "PAN ";
constexpr const char* TILT_NAME = "TILT";

double clampPan(double pan) {
  return std::clamp(pan, -MAX_PAN, MAX_PAN);
}
double clampTilt(double tilt) {
  return std::clamp(tilt, -MAX_TILT, MAX_TILT);
}
double clampZoom(double zoom) {
  return std::clamp(zoom, MIN_ZOOM, MAX_ZOOM);
}

}  // namespace

Regulator::Regulator()
    : panPid(Pid::ControlType::PID, 1.0, 0.0, 0.0, 1.0, -100.0, 100.0, 2.0, 3.0),
      tiltPid(Pid::ControlType::PID, 1.0, 0.0, 0.0, 1.0, -100.0, 100.0, 2.0, 3.0),
      zoomPid(Pid::ControlType::P, 20.0, 0.0, 0.0, 25.0, -100.0, 100.0, ZOOM_ERROR_DEADBAND, 7.0) {}

void Regulator::updateTargetPosition(double pan, double tilt, double zoom) {
  targetPan = clampPan(pan);
  targetTilt = clampTilt(tilt);
  targetZoom = clampZoom(zoom);
  if (state == State::inactive) {
    smoothedZoom = targetZoom;
    activate();
  }
  if (targetZoom > ZOOM_ENGAGED_LIMIT) {
    zoomEngaged = true;
  }
  lastTargetTime = utils::monotonicTime();
}

void Regulator::updateCurrentPosition(double pan, double tilt, double zoom) {
  panPid.update(Bearing::shortestDiff(targetPan, clampPan(pan)));
  panSpeed = panPid.output();
  tiltPid.update(targetTilt - clampTilt(tilt));
  tiltSpeed = tiltPid.output();
  smoothZoom();
  zoomPid.update(zoomSetValue() - clampZoom(zoom));
  zoomSpeed = zoomPid.output();

  const float age =
      lastTargetTime == 0
          ? 0.0F
          : static_cast<float>(utils::monotonicTime() - lastTargetTime) / MICROSECONDS_PER_SECOND;
  if ((isSettled() && age > SETTLED_TIMEOUT) || age > TARGET_TIMEOUT) {
    inactivate();
  }
}

void Regulator::smoothZoom() {
  if (targetZoom > smoothedZoom) {
    smoothedZoom = lerp(smoothedZoom, targetZoom, ZOOM_IN_WEIGHT);
  } else if (targetZoom < smoothedZoom) {
    smoothedZoom = lerp(smoothedZoom, targetZoom, ZOOM_OUT_WEIGHT);
  }
}

// While the head moves fast, the picture is widened so that the object stays in it.
double Regulator::zoomSetValue() const {
  const double speed = std::max(std::abs(panSpeed), std::abs(tiltSpeed));
  if (speed > FAST_SPEED) {
    return MIN_ZOOM;
  }
  return speed > MODERATE_SPEED ? smoothedZoom * (1.0 - speed / 100.0) : smoothedZoom;
}

bool Regulator::isSettled() const {
  return std::ranges::all_of(std::initializer_list<const Pid*>{&panPid, &tiltPid, &zoomPid},
                             [](const Pid* pid) { return !pid->isEnabled() || pid->isSettled(); });
}

void Regulator::getSpeeds(double& pan, double& tilt, double& zoom) const {
  pan = panSpeed;
  tilt = tiltSpeed;
  zoom = zoomSpeed;
}

void Regulator::activate() {
  if (state == State::active) {
    return;
  }
  panPid.activate();
  tiltPid.activate();
  zoomPid.activate();
  state = State::active;
}

void Regulator::inactivate() {
  if (state == State::inactive) {
    return;
  }
  panPid.inactivate();
  tiltPid.inactivate();
  zoomPid.inactivate();
  state = State::inactive;
}

double Regulator::lerp(double a, double b, double t) {
  return (1.0 - t) * a + t * b;
}

void Regulator::autotuneStart(double panSetpoint, double panAmplitude, double tiltSetpoint,
                              double tiltAmplitude) {
  panPid.autotuneStart(panSetpoint, panAmplitude);
  tiltPid.autotuneStart(tiltSetpoint, tiltAmplitude);
}

bool Regulator::autotuneRun(double pan, double tilt, double& panOut, double& tiltOut) {
  const bool panFinished = panPid.autotuneRun(pan, panOut);
  const bool tiltFinished = tiltPid.autotuneRun(tilt, tiltOut);
  if (!panFinished || !tiltFinished) {
    return false;
  }
  pidDebug();
  return true;
}

bool Regulator::autotuned() const {
  return panPid.isAutotuned() && tiltPid.isAutotuned();
}

void Regulator::setPanPid(double kp, double ki, double kd) {
  panPid.setPid(kp, ki, kd);
}

void Regulator::setTiltPid(double kp, double ki, double kd) {
  tiltPid.setPid(kp, ki, kd);
}

void Regulator::getPanPid(double* kp, double* ki, double* kd) const {
  panPid.getPid(*kp, *ki, *kd);
}

void Regulator::getTiltPid(double* kp, double* ki, double* kd) const {
  tiltPid.getPid(*kp, *ki, *kd);
}

void Regulator::getPanAutotunePid(double* kp, double* ki, double* kd) const {
  panPid.getAutotunePid(*kp, *ki, *kd);
}

void Regulator::getTiltAutotunePid(double* kp, double* ki, double* kd) const {
  tiltPid.getAutotunePid(*kp, *ki, *kd);
}

void Regulator::pidDebug() const {
  panPid.printAutotuneDebug(PAN_NAME);
  tiltPid.printAutotuneDebug(TILT_NAME);
}

std::string Regulator::toString() const {
  const GTextPtr text(g_strdup_printf("pan speed: % 3.2f, tilt speed: % 3.2f, zoom speed: % 3.2f",
                                      panSpeed, tiltSpeed, zoomSpeed));
  return text.get();
}
