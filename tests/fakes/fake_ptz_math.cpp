#include "fakes/fake_ptz_math.h"

#include <ptzmath.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <utility>

#include "base/mutex.h"

struct ptzmath_context {
  int width = 0;
  int height = 0;
  double centerPan = 0.0;
  double centerTilt = 0.0;
  double horizontalFov = 0.0;
  double verticalFov = 0.0;
};

namespace {

constexpr double ONE = 65536.0;  // 16 fractional bits

struct Model {
  Mutex mutex;  // guards all below
  std::map<int, std::pair<double, double>> centers;
  int contexts = 0;
  std::vector<std::string> calls;
};

Model& theModel() {
  static Model s_model;
  return s_model;
}

template <typename... Numbers>
void record(const std::string& name, Numbers... numbers) {
  std::string call = name;
  ((call += " " + std::to_string(numbers)), ...);
  const LockGuard lock(theModel().mutex);
  theModel().calls.push_back(call);
}

std::int32_t toFixed(double degrees) {
  return static_cast<std::int32_t>(std::lround(degrees * ONE));
}

double share(double pixels, int whole) {
  return whole == 0 ? 0.0 : pixels / whole;
}

}  // namespace

namespace FakePtzMath {

void reset() {
  const LockGuard lock(theModel().mutex);
  theModel().centers.clear();
  theModel().calls.clear();
}

void setCenter(int channel, double pan, double tilt) {
  const LockGuard lock(theModel().mutex);
  theModel().centers[channel] = {pan, tilt};
}

void removeCenter(int channel) {
  const LockGuard lock(theModel().mutex);
  theModel().centers.erase(channel);
}

int contextsAlive() {
  const LockGuard lock(theModel().mutex);
  return theModel().contexts;
}

std::vector<std::string> calls() {
  const LockGuard lock(theModel().mutex);
  return theModel().calls;
}

void clearCalls() {
  const LockGuard lock(theModel().mutex);
  theModel().calls.clear();
}

}  // namespace FakePtzMath

extern "C" {

ptzmath_context* ptzmath_context_create(void) {
  record("context_create");
  const LockGuard lock(theModel().mutex);
  ++theModel().contexts;
  return new ptzmath_context;
}

void ptzmath_context_delete(ptzmath_context* context) {
  record("context_delete");
  if (context == nullptr) {
    return;
  }
  delete context;
  const LockGuard lock(theModel().mutex);
  --theModel().contexts;
}

void ptzmath_set_pic_dim(ptzmath_context* context, int width, int height) {
  record("set_pic_dim", width, height);
  context->width = width;
  context->height = height;
}

int ptzmath_get_remote_center(ptzmath_context* context, int channel) {
  record("get_remote_center", channel);
  const LockGuard lock(theModel().mutex);
  const auto found = theModel().centers.find(channel);
  if (found == theModel().centers.end()) {
    return -1;
  }
  context->centerPan = found->second.first;
  context->centerTilt = found->second.second;
  return 0;
}

void ptzmath_set_horiz_fov_x(ptzmath_context* context, int32_t fov) {
  record("set_horiz_fov_x", fov);
  context->horizontalFov = fov / ONE;
}

void ptzmath_set_vert_fov_x(ptzmath_context* context, int32_t fov) {
  record("set_vert_fov_x", fov);
  context->verticalFov = fov / ONE;
}

void ptzmath_to_ptz_x(const ptzmath_context* context, int32_t* pan, int32_t* tilt, int x, int y) {
  record("to_ptz_x", x, y);
  *pan = toFixed(context->centerPan +
                 share(x - context->width / 2.0, context->width) * context->horizontalFov);
  *tilt = toFixed(context->centerTilt -
                  share(y - context->height / 2.0, context->height) * context->verticalFov);
}

int32_t ptzmath_to_remote_zoom(const ptzmath_context* context, int x, int y, int extent) {
  record("to_remote_zoom", x, y, extent);
  return toFixed(share(std::abs(static_cast<double>(extent)), context->width) *
                 context->horizontalFov);
}

}  // extern "C"
