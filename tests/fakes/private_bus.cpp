#include "fakes/private_bus.h"

#include <stdexcept>

#include "fakes/dbus_daemon.h"

namespace {

constexpr auto FLAGS = static_cast<GDBusConnectionFlags>(
    G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
constexpr guint32 PRIMARY_OWNER = 1;

std::unique_ptr<DbusDaemon>& daemon() {
  static auto s_bus = std::make_unique<DbusDaemon>();
  return s_bus;
}

}  // namespace

const char* PrivateBus::address() {
  return daemon()->getAddress();
}

void PrivateBus::restart() {
  daemon().reset();
  daemon() = std::make_unique<DbusDaemon>();
}

BusServices::BusServices() {
  const char* address = PrivateBus::address();
  invoke([this, address] {
    connection.reset(
        g_dbus_connection_new_for_address_sync(address, FLAGS, nullptr, nullptr, nullptr));
  });
}

BusServices::BusServices(const std::string& name) : BusServices() {
  invoke([this, &name] { own(name); });
}

// The bus learns of a closed connection some time later, of a name given back before this returns.
BusServices::~BusServices() {
  invoke([this] {
    callBus("ReleaseName", g_variant_new("(s)", ownName.c_str()));
    g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
  });
}

bool BusServices::own(const std::string& name) {
  ownName = name;
  return callBus("RequestName", g_variant_new("(su)", name.c_str(), 0U)) == PRIMARY_OWNER;
}

void BusServices::exportAt(GDBusInterfaceSkeleton* skeleton, const std::string& path) {
  if (!g_dbus_interface_skeleton_export(skeleton, connection.get(), path.c_str(), nullptr)) {
    throw std::runtime_error("cannot export " + path);
  }
}

void BusServices::withdraw(GDBusInterfaceSkeleton* skeleton) {
  g_dbus_interface_skeleton_unexport(skeleton);
}

void BusServices::flush(GDBusInterfaceSkeleton* skeleton) {
  g_dbus_interface_skeleton_flush(skeleton);
  g_dbus_connection_flush_sync(connection.get(), nullptr, nullptr);
}

guint32 BusServices::callBus(const char* method, GVariant* arguments) {
  const GVariantPtr reply(g_dbus_connection_call_sync(
      connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      method, arguments, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
  guint32 result = 0;
  if (reply) {
    g_variant_get(reply.get(), "(u)", &result);
  }
  return result;
}
