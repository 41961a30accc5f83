#include "bus/service_client.h"

#include <utility>

namespace {

constexpr int kTimeoutMs = 5000;

bool nameHasOwner(GDBusConnection* bus, const char* name, GError** error) {
  const GVariantPtr reply(g_dbus_connection_call_sync(
      bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
      g_variant_new("(s)", name), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, kTimeoutMs,
      nullptr, error));
  if (!reply) return false;
  gboolean owned = FALSE;
  g_variant_get(reply.get(), "(b)", &owned);
  if (owned == FALSE) {
    g_set_error(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "No service %s on the system bus", name);
  }
  return owned != FALSE;
}

}  // namespace

ServiceClient::ServiceClient(GObjectPtr<GDBusConnection> connection, const char* name,
                             const char* path)
    : connection_(std::move(connection)), name_(name), path_(path) {}

std::unique_ptr<ServiceClient> ServiceClient::connect(const char* name, const char* path,
                                                      GError** error) {
  GObjectPtr<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, error));
  if (!bus) return nullptr;
  // A lost bus is an error of the calls that need it, not the end of the application.
  g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
  if (!nameHasOwner(bus.get(), name, error)) return nullptr;
  return std::unique_ptr<ServiceClient>(new ServiceClient(std::move(bus), name, path));
}

GVariantPtr ServiceClient::call(const char* method, GVariant* arguments, const char* reply,
                                GError** error) const {
  GError* failure = nullptr;
  GVariantPtr answer(g_dbus_connection_call_sync(
      connection_.get(), name(), path(), name(), method, arguments, G_VARIANT_TYPE(reply),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, kTimeoutMs, nullptr, &failure));
  if (failure != nullptr) {
    g_dbus_error_strip_remote_error(failure);
    g_propagate_error(error, failure);
  }
  return answer;
}

void ServiceClient::callAsync(const char* method, GVariant* arguments, const char* reply,
                              GAsyncReadyCallback done, void* user_data) const {
  g_dbus_connection_call(connection_.get(), name(), path(), name(), method, arguments,
                         G_VARIANT_TYPE(reply), G_DBUS_CALL_FLAGS_NO_AUTO_START, kTimeoutMs,
                         nullptr, done, user_data);
}
