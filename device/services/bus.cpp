#include "services/bus.h"

#include <stdexcept>
#include <utility>

namespace device {

namespace {

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr guint32 kDoNotQueue = 4;
constexpr guint32 kPrimaryOwner = 1;
constexpr int kTimeoutMs = 5000;

}  // namespace

GObjectPtr<GDBusConnection> connectToSystemBus() {
  ErrorSlot error;
  const GCharPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, error.out()));
  if (!address) throw std::runtime_error("No system bus: " + error.message());
  GObjectPtr<GDBusConnection> connection(g_dbus_connection_new_for_address_sync(
      address.get(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, error.out()));
  if (!connection) throw std::runtime_error("No system bus: " + error.message());
  return connection;
}

BusName::BusName(GDBusConnection* connection, std::string name)
    : connection_(G_DBUS_CONNECTION(g_object_ref(connection))), name_(std::move(name)) {
  ErrorSlot error;
  const GVariantPtr reply(g_dbus_connection_call_sync(
      connection, kBus, kBusPath, kBus, "RequestName",
      g_variant_new("(su)", name_.c_str(), kDoNotQueue), G_VARIANT_TYPE("(u)"),
      G_DBUS_CALL_FLAGS_NONE, kTimeoutMs, nullptr, error.out()));
  if (!reply) throw std::runtime_error("Cannot own " + name_ + ": " + error.message());
  guint32 answer = 0;
  g_variant_get(reply.get(), "(u)", &answer);
  if (answer != kPrimaryOwner) {
    throw std::runtime_error("Cannot own " + name_ + ": another process has it");
  }
}

BusName::~BusName() {
  g_dbus_connection_call(connection_.get(), kBus, kBusPath, kBus, "ReleaseName",
                         g_variant_new("(s)", name_.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE,
                         kTimeoutMs, nullptr, nullptr, nullptr);
}

BusObject::BusObject(GDBusConnection* connection, gpointer skeleton, const std::string& path)
    : skeleton_(G_DBUS_INTERFACE_SKELETON(skeleton)) {
  ErrorSlot error;
  if (!g_dbus_interface_skeleton_export(skeleton_.get(), connection, path.c_str(), error.out())) {
    throw std::runtime_error("Cannot offer " + path + ": " + error.message());
  }
}

BusObject::~BusObject() {
  g_signal_handlers_destroy(skeleton_.get());
  g_dbus_interface_skeleton_unexport(skeleton_.get());
}

void answerInvalidArgs(GDBusMethodInvocation* invocation, const std::string& message) {
  g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                                message.c_str());
}

}  // namespace device
