// Events go to the device as they would over the bus. Nothing is ever received.
#include <ovevent.h>

#include <gio/gio.h>

#include <set>

#include "base/glib_ptr.h"
#include "memory/device.h"
#include "ovevent/types.h"

struct OVEventHandler {
  std::set<std::uint32_t> declarations;
};

namespace {

gboolean serviceRefuses(GError** error) {
  g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_FAILED, "The event service refuses");
  return FALSE;
}

GVariantPtr wire(const OVEventKeyValueSet* set) {
  return GVariantPtr(g_variant_ref_sink(toVariant(set->keys)));
}

}  // namespace

extern "C" {

OVEventHandler* ov_event_handler_new() {
  return memory::device() != nullptr ? new OVEventHandler : nullptr;
}

void ov_event_handler_free(OVEventHandler* handler) {
  if (handler != nullptr && memory::device() != nullptr) {
    for (const std::uint32_t id : handler->declarations) {
      memory::device()->undeclareEvent(id);
    }
  }
  delete handler;
}

gboolean ov_event_handler_declare(OVEventHandler* handler, const OVEventKeyValueSet* set,
                                  gboolean stateless, uint32_t* declaration, GError** error) {
  const std::uint32_t id =
      memory::device()->declareEvent(wire(set).get(), stateless != FALSE, g_get_real_time());
  if (id == 0) {
    return serviceRefuses(error);
  }
  handler->declarations.insert(id);
  *declaration = id;
  return TRUE;
}

gboolean ov_event_handler_send_event(OVEventHandler*, uint32_t declaration,
                                     const OVEventKeyValueSet* set, int64_t timeStamp,
                                     GError** error) {
  return memory::device()->sendEvent(declaration, wire(set).get(), timeStamp)
             ? TRUE
             : serviceRefuses(error);
}

gboolean ov_event_handler_undeclare(OVEventHandler* handler, uint32_t declaration, GError** error) {
  const bool wasThere = handler->declarations.erase(declaration) > 0;
  return wasThere && memory::device()->undeclareEvent(declaration) ? TRUE : serviceRefuses(error);
}

gboolean ov_event_handler_subscribe(OVEventHandler*, const OVEventKeyValueSet*,
                                    OVEventSubscriptionCallback, void*, uint32_t* subscription,
                                    GError**) {
  static std::uint32_t s_last = 0;
  *subscription = ++s_last;
  return TRUE;
}

gboolean ov_event_handler_unsubscribe(OVEventHandler*, uint32_t, GError**) {
  return TRUE;
}

}  // extern "C"
