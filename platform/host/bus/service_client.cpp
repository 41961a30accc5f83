#include "bus/service_client.h"

#include <utility>

#include "base/bus_names.h"
#include "base/system_bus.h"

namespace {

using bus_names::BUS;

constexpr int TIMEOUT_MS = 3000;
constexpr int SILENT_TIMEOUT_MS = 500;

GVariantPtr callBus(GDBusConnection* bus, const char* method, const char* name, const char* reply,
                    GError** error) {
  return GVariantPtr(g_dbus_connection_call_sync(
      bus, BUS.name, BUS.path, BUS.name, method, g_variant_new("(s)", name), G_VARIANT_TYPE(reply),
      G_DBUS_CALL_FLAGS_NONE, TIMEOUT_MS, nullptr, error));
}

bool nameHasOwner(GDBusConnection* bus, const char* name, GError** error) {
  const GVariantPtr reply = callBus(bus, "NameHasOwner", name, "(b)", error);
  if (!reply) {
    return false;
  }
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
    : connection(std::move(connection)), name(name), path(path) {}

std::unique_ptr<ServiceClient> ServiceClient::connect(const char* name, const char* path,
                                                      GError** error) {
  GObjectPtr<GDBusConnection> bus = openSystemBus(error);
  if (!bus || !nameHasOwner(bus.get(), name, error)) {
    return nullptr;
  }
  return std::unique_ptr<ServiceClient>(new ServiceClient(std::move(bus), name, path));
}

GObjectPtr<GDBusConnection> ServiceClient::bus(GError** error) const {
  const LockGuard lock(mutex);
  if (g_dbus_connection_is_closed(connection.get())) {
    GObjectPtr<GDBusConnection> opened = openSystemBus(error);
    if (!opened) {
      return nullptr;
    }
    connection = std::move(opened);
  }
  return GObjectPtr<GDBusConnection>(G_DBUS_CONNECTION(g_object_ref(connection.get())));
}

std::string ServiceClient::owner(GDBusConnection* bus, GError** error) const {
  const GVariantPtr reply = callBus(bus, "GetNameOwner", getName(), "(s)", error);
  const char* owner = "";
  if (reply) {
    g_variant_get(reply.get(), "(&s)", &owner);
  }
  return owner;
}

GVariantPtr ServiceClient::call(const char* method, GVariant* arguments, const char* reply,
                                GError** error) const {
  const GVariantPtr owned(arguments != nullptr ? g_variant_ref_sink(arguments) : nullptr);
  const GObjectPtr<GDBusConnection> connection = bus(error);
  if (!connection) {
    return nullptr;
  }
  return callOwner(connection.get(), name, method, owned.get(), reply, error);
}

GVariantPtr ServiceClient::callOwner(GDBusConnection* bus, const std::string& owner,
                                     const char* method, GVariant* arguments, const char* reply,
                                     GError** error) const {
  ErrorSlot failure;
  const int timeout = isSilent ? SILENT_TIMEOUT_MS : TIMEOUT_MS;
  GVariantPtr answer(g_dbus_connection_call_sync(
      bus, owner.c_str(), getPath(), getName(), method, arguments, G_VARIANT_TYPE(reply),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, timeout, nullptr, failure.out()));
  isSilent = g_error_matches(failure.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE;
  if (failure.isSet()) {
    g_dbus_error_strip_remote_error(failure.get());
    failure.handTo(error);
  }
  return answer;
}

void ServiceClient::callOwnerAsync(GDBusConnection* bus, const std::string& owner,
                                   const char* method, GVariant* arguments, const char* reply,
                                   GAsyncReadyCallback done, void* userData) const {
  g_dbus_connection_call(bus, owner.c_str(), getPath(), getName(), method, arguments,
                         G_VARIANT_TYPE(reply), G_DBUS_CALL_FLAGS_NO_AUTO_START, TIMEOUT_MS,
                         nullptr, done, userData);
}
