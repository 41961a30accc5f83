#include <ptztolva.h>

#include <gio/gio.h>

#include <cmath>

#include "memory/device.h"
#include "memory/fibres.h"
#include "platform/arguments.h"

namespace {

using arguments::refuse;

// A call takes its time on the way there and back; calls of one caller come one after another.
template <typename Work>
gboolean callHead(GError** error, Work work) {
  memory::Device* device = memory::device();
  if (device == nullptr) {
    return refuse(error, "There is no head");
  }
  const memory::CallTime time = device->callTime();
  if (time.there > 0) {
    memory::Fibres::get().sleep(time.there);
  }
  const bool isDone = work(*device);
  if (time.back > 0) {
    memory::Fibres::get().sleep(time.back);
  }
  return isDone ? TRUE : refuse(error, "The head refuses");
}

}  // namespace

extern "C" {

gboolean ptztolva_init() {
  return memory::device() != nullptr ? TRUE : FALSE;
}

void ptztolva_cleanup() {}

gboolean ptztolva_move_ptz_travo(int, int channel, const char*, int, int panKind, int tiltKind,
                                 int zoom, int zoomKind, double pan, double tilt, int speed, int,
                                 int, GError** error) {
  if (!std::isfinite(pan) || !std::isfinite(tilt)) {
    return refuse(error, "No finite pan or tilt");
  }
  const memory::HeadMove move{.pan = {panKind, pan},
                              .tilt = {tiltKind, tilt},
                              .zoom = {zoomKind, static_cast<double>(zoom)},
                              .speed = speed};
  return callHead(error, [&](memory::Device& device) { return device.move(channel, move); });
}

gboolean ptztolva_goto_home(int, int channel, const char*, int, int speed, int, int,
                            GError** error) {
  return callHead(error, [&](memory::Device& device) { return device.goHome(channel, speed); });
}

gboolean ptztolva_get_ptz_status(int channel, ptztolva_status* status, GError** error) {
  if (status == nullptr) {
    return refuse(error, "A status is needed");
  }
  return callHead(error, [&](memory::Device& device) {
    const auto read = device.status(channel);
    *status = read.value_or(*status);
    return read.has_value();
  });
}

}  // extern "C"
