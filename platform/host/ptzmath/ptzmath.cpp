#include "ptzmath.h"

#include <cmath>
#include <new>

#include "ptzmath/mounting.h"
#include "ptzmath/pinhole.h"

struct ptzmath_context {
  ptzmath::Pinhole camera;
};

namespace {

constexpr double ONE = 65536;
constexpr int32_t HALF_TURN = 180 << 16;

double toDegrees(int32_t fixed) {
  return fixed / ONE;
}

int32_t toFixed(double degrees) {
  return static_cast<int32_t>(std::lround(degrees * ONE));
}

}  // namespace

ptzmath_context* ptzmath_context_create(void) {
  return new (std::nothrow) ptzmath_context;
}

void ptzmath_context_delete(ptzmath_context* context) {
  delete context;
}

void ptzmath_set_pic_dim(ptzmath_context* context, int width, int height) {
  context->camera.setPicture(width, height);
}

int ptzmath_get_remote_center(ptzmath_context* context, int channel) {
  const auto mounting = ptzmath::readMounting(channel);
  if (!mounting) {
    return -1;
  }
  context->camera.setMounting(*mounting);
  return 0;
}

void ptzmath_set_horiz_fov_x(ptzmath_context* context, int32_t fov) {
  context->camera.setHorizontalFov(toDegrees(fov));
}

void ptzmath_set_vert_fov_x(ptzmath_context* context, int32_t fov) {
  context->camera.setVerticalFov(toDegrees(fov));
}

void ptzmath_to_ptz_x(const ptzmath_context* context, int32_t* pan, int32_t* tilt, int x, int y) {
  const auto direction = context->camera.directionOf(x, y);
  *pan = toFixed(direction.pan);
  if (*pan == HALF_TURN) {
    *pan = -HALF_TURN;  // rounded up to the seam
  }
  *tilt = toFixed(direction.tilt);
}

int32_t ptzmath_to_remote_zoom(const ptzmath_context* context, int x, int y, int extent) {
  return toFixed(context->camera.angleAcross(x, y, extent));
}
