#include "fuzz/fake_bus.h"

#include <gio/gio.h>

namespace {

FakeBus::Reply s_reply = FakeBus::Reply::none;
std::string s_replyText;

void* fail(GError** error) {
  g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "nobody is there");
  return nullptr;
}

// Stands for a connection or a proxy: nothing but the calls below is asked of them.
template <typename T>
T* createObject(GError** error) {
  return static_cast<T*>(s_reply == FakeBus::Reply::none ? fail(error)
                                                         : g_object_new(G_TYPE_OBJECT, nullptr));
}

GVariant* createReply(GError** error) {
  switch (s_reply) {
    case FakeBus::Reply::nothing:
      return g_variant_new("()");
    case FakeBus::Reply::number:
      return g_variant_new("(u)", 7U);
    case FakeBus::Reply::text:
      return g_variant_new("(s)", s_replyText.c_str());
    default:
      return static_cast<GVariant*>(fail(error));
  }
}

}  // namespace

namespace FakeBus {

void setService(Reply reply, const std::string& text) {
  s_reply = reply;
  s_replyText = text;
}

}  // namespace FakeBus

extern "C" {

gchar* g_dbus_address_get_for_bus_sync(GBusType, GCancellable*, GError** error) {
  return s_reply != FakeBus::Reply::none ? g_strdup("fake:") : static_cast<gchar*>(fail(error));
}

GDBusConnection* g_dbus_connection_new_for_address_sync(const gchar*, GDBusConnectionFlags,
                                                        GDBusAuthObserver*, GCancellable*,
                                                        GError** error) {
  return createObject<GDBusConnection>(error);
}

gboolean g_dbus_connection_is_closed(GDBusConnection*) {
  return FALSE;
}

GDBusProxy* g_dbus_proxy_new_sync(GDBusConnection*, GDBusProxyFlags, GDBusInterfaceInfo*,
                                  const gchar*, const gchar*, const gchar*, GCancellable*,
                                  GError** error) {
  return createObject<GDBusProxy>(error);
}

GDBusConnection* g_dbus_proxy_get_connection(GDBusProxy*) {
  return nullptr;
}

GVariant* g_dbus_proxy_call_sync(GDBusProxy*, const gchar*, GVariant* parameters, GDBusCallFlags,
                                 gint, GCancellable*, GError** error) {
  g_variant_unref(g_variant_ref_sink(parameters));
  GVariant* const created = createReply(error);
  return created != nullptr ? g_variant_ref_sink(created) : nullptr;
}

// Time stands still on the main loop: what is to be done later is forgotten.
guint g_timeout_add_full(gint, guint, GSourceFunc, gpointer data, GDestroyNotify notify) {
  if (notify != nullptr) {
    notify(data);
  }
  return 1;
}

}  // extern "C"
