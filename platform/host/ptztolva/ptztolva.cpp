#include "ptztolva.h"

#include <cmath>
#include <memory>

#include "base/bus_names.h"
#include "base/mutex.h"
#include "bus/service_client.h"
#include "platform/arguments.h"

namespace {

using arguments::isTextOrNull;
using arguments::orEmpty;
using arguments::refuse;
using bus_names::PTZ;

// Commands reach the head in the order of the calls, so the lock is held until the answer is there.
Mutex s_mutex;
std::unique_ptr<ServiceClient> s_service GUARDED_BY(s_mutex);

// Consumes arguments.
GVariantPtr callService(const char* method, GVariant* arguments, const char* reply, GError** error)
    EXCLUDES(s_mutex) {
  const GVariantPtr owned(g_variant_ref_sink(arguments));
  const LockGuard lock(s_mutex);
  if (!s_service) {
    g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_NOT_INITIALIZED,
                        "The PTZ library is not initialized");
    return nullptr;
  }
  return s_service->call(method, owned.get(), reply, error);
}

bool isKind(int kind) {
  return kind == PTZTOLVA_MOVE_NONE || kind == PTZTOLVA_MOVE_ABSOLUTE ||
         kind == PTZTOLVA_MOVE_CONTINUOUS;
}

bool areChannelAndSource(int channel, const char* source) {
  return channel >= 0 && isTextOrNull(source);
}

}  // namespace

gboolean ptztolva_init(void) {
  const LockGuard lock(s_mutex);
  s_service = ServiceClient::connect(PTZ.name, PTZ.path, nullptr);
  return s_service ? TRUE : FALSE;
}

void ptztolva_cleanup(void) {
  const LockGuard lock(s_mutex);
  s_service.reset();
}

gboolean ptztolva_move_ptz_travo(int /*reserved_a*/, int channel, const char* source,
                                 int /*reserved_b*/, int panKind, int tiltKind, int zoom,
                                 int zoomKind, double pan, double tilt, int speed,
                                 int /*reserved_c*/, int /*reserved_d*/, GError** error) {
  if (!areChannelAndSource(channel, source)) {
    return refuse(error, "Invalid channel or source");
  }
  if (!isKind(panKind) || !isKind(tiltKind) || !isKind(zoomKind)) {
    return refuse(error, "Unknown kind of movement");
  }
  if (!std::isfinite(pan) || !std::isfinite(tilt)) {
    return refuse(error, "No finite pan or tilt");
  }
  if (speed < 0) {
    return refuse(error, "Negative speed limit");
  }
  GVariant* arguments =
      g_variant_new("(usididiiu)", static_cast<guint32>(channel), orEmpty(source), panKind, pan,
                    tiltKind, tilt, zoomKind, zoom, static_cast<guint32>(speed));
  return callService("Move", arguments, "()", error) ? TRUE : FALSE;
}

gboolean ptztolva_goto_home(int /*reserved_a*/, int channel, const char* source, int /*reserved_b*/,
                            int speed, int /*reserved_c*/, int /*reserved_d*/, GError** error) {
  if (!areChannelAndSource(channel, source)) {
    return refuse(error, "Invalid channel or source");
  }
  if (speed < 0) {
    return refuse(error, "Negative speed");
  }
  GVariant* arguments = g_variant_new("(usu)", static_cast<guint32>(channel), orEmpty(source),
                                      static_cast<guint32>(speed));
  return callService("GotoHome", arguments, "()", error) ? TRUE : FALSE;
}

gboolean ptztolva_get_ptz_status(int channel, ptztolva_status* status, GError** error) {
  if (status == nullptr) {
    return refuse(error, "A status is needed");
  }
  if (channel < 0) {
    return refuse(error, "Invalid channel");
  }
  const GVariantPtr reply = callService(
      "GetStatus", g_variant_new("(u)", static_cast<guint32>(channel)), "(dbdbib)", error);
  if (!reply) {
    return FALSE;
  }

  double pan = 0;
  double tilt = 0;
  gboolean panMoving = FALSE;
  gboolean tiltMoving = FALSE;
  gboolean zoomMoving = FALSE;
  gint32 zoom = 0;
  g_variant_get(reply.get(), "(dbdbib)", &pan, &panMoving, &tilt, &tiltMoving, &zoom, &zoomMoving);
  *status = {.pan = static_cast<float>(pan),
             .pan_moving = panMoving,
             .tilt = static_cast<float>(tilt),
             .tilt_moving = tiltMoving,
             .zoom = zoom,
             .zoom_moving = zoomMoving};
  return TRUE;
}
