// GIO's way to the system bus, on which the device offers its lenses and the head's channel. The
// program's own definitions stand before those of the library.
#include <gio/gio.h>

#include <cstdlib>
#include <map>
#include <string_view>

#include "base/bus_names.h"
#include "base/glib_ptr.h"
#include "memory/device.h"
#include "memory/head_channel.h"

namespace {

constexpr std::string_view LENSES = bus_names::LENSES.path;
constexpr std::string_view OPEN_CHANNEL = "OpenChannel";

void initializeClass(gpointer, gpointer) {
  g_signal_new("closed", g_type_from_name("MemoryBus"), G_SIGNAL_RUN_LAST, 0, nullptr, nullptr,
               nullptr, G_TYPE_NONE, 2, G_TYPE_BOOLEAN, G_TYPE_ERROR);
}

// Stands for a connection and for a proxy: an object to whose signals one can listen.
GType busType() {
  static const GType TYPE =
      g_type_register_static_simple(G_TYPE_OBJECT, "MemoryBus", sizeof(GObjectClass),
                                    initializeClass, sizeof(GObject), nullptr, GTypeFlags{});
  return TYPE;
}

template <typename T>
T* makeObject(GError** error) {
  if (memory::device() != nullptr) {
    return static_cast<T*>(g_object_new(busType(), nullptr));
  }
  g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "There is no device");
  return nullptr;
}

GVariant* fail(GError** error) {
  g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "Nobody answers");
  return nullptr;
}

GVariant* propertiesOf(const memory::Lens& lens) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("(a{sv})"));
  g_variant_builder_open(&builder, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&builder, "{sv}", "OpticsWideHFoV",
                        g_variant_new_double(lens.horizontalFov));
  g_variant_builder_add(&builder, "{sv}", "OpticsWideVFoV", g_variant_new_double(lens.verticalFov));
  g_variant_builder_add(&builder, "{sv}", "SensorRotation", g_variant_new_int32(lens.rotation));
  g_variant_builder_close(&builder);
  return g_variant_ref_sink(g_variant_builder_end(&builder));
}

struct Listener {
  gpointer data;
  GDestroyNotify release;
};

std::map<guint, Listener>& listeners() {
  static std::map<guint, Listener> s_listeners;
  return s_listeners;
}

}  // namespace

extern "C" {

gchar* g_dbus_address_get_for_bus_sync(GBusType, GCancellable*, GError**) {
  return g_strdup("memory:");
}

GDBusConnection* g_dbus_connection_new_for_address_sync(const gchar*, GDBusConnectionFlags,
                                                        GDBusAuthObserver*, GCancellable*,
                                                        GError** error) {
  return makeObject<GDBusConnection>(error);
}

gboolean g_dbus_connection_is_closed(GDBusConnection*) {
  return FALSE;
}

GDBusProxy* g_dbus_proxy_new_sync(GDBusConnection*, GDBusProxyFlags, GDBusInterfaceInfo*,
                                  const gchar*, const gchar*, const gchar*, GCancellable*,
                                  GError** error) {
  return makeObject<GDBusProxy>(error);
}

GDBusConnection* g_dbus_proxy_get_connection(GDBusProxy*) {
  return nullptr;
}

guint g_dbus_connection_signal_subscribe(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                         const gchar*, const gchar*, GDBusSignalFlags,
                                         GDBusSignalCallback, gpointer data,
                                         GDestroyNotify release) {
  static guint s_last = 0;
  listeners()[++s_last] = {data, release};
  return s_last;
}

void g_dbus_connection_signal_unsubscribe(GDBusConnection*, guint id) {
  const auto found = listeners().find(id);
  if (found != listeners().end()) {
    found->second.release(found->second.data);
    listeners().erase(found);
  }
}

GVariant* g_dbus_connection_call_sync(GDBusConnection*, const gchar*, const gchar* path,
                                      const gchar*, const gchar*, GVariant* parameters,
                                      const GVariantType*, GDBusCallFlags, gint, GCancellable*,
                                      GError** error) {
  const GVariantPtr owned(g_variant_ref_sink(parameters));
  const std::string_view object(path);
  if (memory::device() == nullptr || !object.starts_with(LENSES)) {
    return fail(error);
  }
  const auto lens = memory::device()->lens(std::atoi(path + LENSES.size()));
  return lens ? propertiesOf(*lens) : fail(error);
}

GVariant* g_dbus_proxy_call_sync(GDBusProxy*, const gchar* method, GVariant* parameters,
                                 GDBusCallFlags, gint, GCancellable*, GError** error) {
  const GVariantPtr owned(g_variant_ref_sink(parameters));
  return method == OPEN_CHANNEL ? g_variant_ref_sink(g_variant_new("(s)", memory::HEAD_CHANNEL))
                                : fail(error);
}

}  // extern "C"
