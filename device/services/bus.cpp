#include "services/bus.h"

#include <stdexcept>
#include <utility>

#include "base/bus_names.h"

namespace device {

namespace {

using bus_names::BUS;

constexpr guint32 DO_NOT_QUEUE = 4;
constexpr guint32 PRIMARY_OWNER = 1;
constexpr int TIMEOUT_MS = 5000;

}  // namespace

GObjectPtr<GDBusConnection> connectToSystemBus() {
  ErrorSlot error;
  const GTextPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, error.out()));
  if (!address) {
    throw std::runtime_error("No system bus: " + error.message());
  }
  GObjectPtr<GDBusConnection> connection(g_dbus_connection_new_for_address_sync(
      address.get(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, error.out()));
  if (!connection) {
    throw std::runtime_error("No system bus: " + error.message());
  }
  return connection;
}

BusName::BusName(GDBusConnection* connection, std::string busName)
    : connection(G_DBUS_CONNECTION(g_object_ref(connection))), name(std::move(busName)) {
  ErrorSlot error;
  const GVariantPtr reply(g_dbus_connection_call_sync(
      connection, BUS.name, BUS.path, BUS.name, "RequestName",
      g_variant_new("(su)", name.c_str(), DO_NOT_QUEUE), G_VARIANT_TYPE("(u)"),
      G_DBUS_CALL_FLAGS_NONE, TIMEOUT_MS, nullptr, error.out()));
  if (!reply) {
    throw std::runtime_error("Cannot own " + name + ": " + error.message());
  }
  guint32 answer = 0;
  g_variant_get(reply.get(), "(u)", &answer);
  if (answer != PRIMARY_OWNER) {
    throw std::runtime_error("Cannot own " + name + ": another process has it");
  }
}

BusName::~BusName() {
  g_dbus_connection_call(connection.get(), BUS.name, BUS.path, BUS.name, "ReleaseName",
                         g_variant_new("(s)", name.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE,
                         TIMEOUT_MS, nullptr, nullptr, nullptr);
}

BusObject::BusObject(GDBusConnection* connection, gpointer created, const std::string& path)
    : skeleton(G_DBUS_INTERFACE_SKELETON(created)) {
  ErrorSlot error;
  if (!g_dbus_interface_skeleton_export(skeleton.get(), connection, path.c_str(), error.out())) {
    throw std::runtime_error("Cannot offer " + path + ": " + error.message());
  }
}

BusObject::~BusObject() {
  g_signal_handlers_destroy(skeleton.get());
  g_dbus_interface_skeleton_unexport(skeleton.get());
}

void answerInvalidArgs(GDBusMethodInvocation* invocation, const std::string& message) {
  g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                                message.c_str());
}

}  // namespace device
