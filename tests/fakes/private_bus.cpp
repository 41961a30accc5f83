#include "fakes/private_bus.h"

#include <chrono>
#include <future>
#include <stdexcept>
#include <utility>

#include "fakes/dbus_daemon.h"

namespace {

constexpr auto PATIENCE = std::chrono::seconds(30);

gboolean callFunction(gpointer function) {
  (*static_cast<std::function<void()>*>(function))();
  return G_SOURCE_REMOVE;
}

}  // namespace

namespace PrivateBus {

const char* address() {
  static const DbusDaemon bus;
  return bus.getAddress();
}

}  // namespace PrivateBus

BusServices::BusServices(const std::string& name)
    : name(name), context(g_main_context_new()), loop(g_main_loop_new(context.get(), FALSE)) {
  const char* address = PrivateBus::address();
  thread = std::thread([this] { run(); });
  invoke([this, address] {
    constexpr auto FLAGS =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    connection.reset(
        g_dbus_connection_new_for_address_sync(address, FLAGS, nullptr, nullptr, nullptr));
    callBus("RequestName", g_variant_new("(su)", this->name.c_str(), 0U));
  });
}

BusServices::~BusServices() {
  invoke([this] {
    callBus("ReleaseName", g_variant_new("(s)", name.c_str()));
    g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
    g_main_loop_quit(loop.get());
  });
  thread.join();
}

void BusServices::invoke(const std::function<void()>& function) {
  std::promise<void> done;
  std::function<void()> call = [&] {
    function();
    done.set_value();
  };
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  g_source_set_callback(source, &callFunction, &call, nullptr);
  g_source_attach(source, context.get());
  done.get_future().wait();
  g_source_destroy(source);
  g_source_unref(source);
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

void BusServices::run() {
  g_main_context_push_thread_default(context.get());
  g_main_loop_run(loop.get());
  g_main_context_pop_thread_default(context.get());
}

void BusServices::callBus(const char* method, GVariant* arguments) {
  GVariant* reply = g_dbus_connection_call_sync(
      connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      method, arguments, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
  if (reply != nullptr) {
    g_variant_unref(reply);
  }
}

bool iterateUntil(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + PATIENCE;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    if (!g_main_context_iteration(nullptr, FALSE)) {
      std::this_thread::yield();
    }
  }
  return true;
}
