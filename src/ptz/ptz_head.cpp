#include "ptz/ptz_head.h"

#include <glib.h>
#include <ptztolva.h>
#include <syslog.h>

#include <cstdio>

#include "base/glib_ptr.h"

namespace {

constexpr int CHANNEL = 1;
constexpr const char* SOURCE = "Trailmark";
constexpr int FULL_SPEED = 100;  // percent
constexpr int MOVING = 1;

}  // namespace

bool PtzHead::initialize() {
  isInitialized = isInitialized || ptztolva_init();
  return isInitialized;
}

void PtzHead::cleanup() {
  ptztolva_cleanup();
}

bool PtzHead::ptzMove(double panValue, Kind panKind, double tiltValue, Kind tiltKind, int zoom,
                      Kind zoomKind) {
  ErrorSlot error;
  if (!ptztolva_move_ptz_travo(0, CHANNEL, SOURCE, 0, panKind, tiltKind, zoom, zoomKind, panValue,
                               tiltValue, FULL_SPEED, 0, 0, error.out())) {
    syslog(LOG_ERR, "Failed ptztolva_move_ptz_travo: %s\n\n", error.message().c_str());
    return false;
  }
  return true;
}

bool PtzHead::ptzMove(const HeadCommand& command) {
  return ptzMove(command.panValue, command.panKind, command.tiltValue, command.tiltKind,
                 command.zoom, command.zoomKind);
}

bool PtzHead::ptzStop() {
  ErrorSlot error;
  if (!ptztolva_move_ptz_travo(0, CHANNEL, SOURCE, 0, CONTINUOUS, CONTINUOUS, 0, CONTINUOUS, 0.0,
                               0.0, 0, 0, 0, error.out())) {
    std::printf("Failed ptztolva_move_ptz_travo: %s\n", error.message().c_str());
    return false;
  }
  return true;
}

void PtzHead::gotoHome() {
  ErrorSlot error;
  if (!ptztolva_goto_home(0, CHANNEL, SOURCE, 0, FULL_SPEED, 0, 0, error.out())) {
    std::printf("Failed ptztolva_goto_home: %s\n", error.message().c_str());
  }
}

std::optional<PtzHeadStatus> PtzHead::getStatus() {
  ErrorSlot error;
  ptztolva_status raw{};
  if (!ptztolva_get_ptz_status(CHANNEL, &raw, error.out())) {
    std::printf("Failed ptztolva_get_ptz_status: %s\n", error.message().c_str());
    return std::nullopt;
  }
  return PtzHeadStatus{.pan = static_cast<double>(raw.pan),
                       .tilt = static_cast<double>(raw.tilt),
                       .zoom = raw.zoom,
                       .isMoving = raw.pan_moving == MOVING || raw.tilt_moving == MOVING ||
                                   raw.zoom_moving == MOVING};
}
