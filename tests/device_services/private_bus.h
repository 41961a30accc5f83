#ifndef DEVICE_SERVICES_PRIVATE_BUS_H
#define DEVICE_SERVICES_PRIVATE_BUS_H

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/glib_ptr.h"
#include "fakes/dbus_daemon.h"
#include "services/bus.h"
#include "support/main_loop.h"

namespace device {

struct Reply {
  GVariantPtr value;
  std::string error;  // the error's name on the bus, empty on success

  bool ok() const { return value != nullptr; }
};

// A client of one service; the service may live in the same thread.
class BusClient {
 public:
  // The interface and the bus name are the same for most services.
  BusClient(std::string busName, std::string objectPath, std::string interfaceName = "")
      : connection(connectToSystemBus()),
        name(std::move(busName)),
        path(std::move(objectPath)),
        interface(interfaceName.empty() ? name : std::move(interfaceName)) {
    g_dbus_connection_signal_subscribe(connection.get(), nullptr, interface.c_str(), nullptr,
                                       nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this,
                                       nullptr);
  }
  BusClient(const BusClient&) = delete;
  BusClient& operator=(const BusClient&) = delete;
  ~BusClient() { leave(); }

  Reply call(const char* method, GVariant* arguments) {
    return callOn(interface, method, arguments);
  }

  std::optional<GVariantPtr> property(const char* name) {
    Reply reply = callOn("org.freedesktop.DBus.Properties", "Get",
                         g_variant_new("(ss)", interface.c_str(), name));
    if (!reply.ok()) {
      return std::nullopt;
    }
    GVariant* value = nullptr;
    g_variant_get(reply.value.get(), "(v)", &value);
    return GVariantPtr(value);
  }

  void leave() { g_dbus_connection_close_sync(connection.get(), nullptr, nullptr); }

  struct Signal {
    std::string name;
    GVariantPtr arguments;
  };
  std::vector<Signal> signals;

  std::size_t count(const std::string& name) const {
    std::size_t found = 0;
    for (const Signal& signal : signals) {
      found += signal.name == name ? 1 : 0;
    }
    return found;
  }

 private:
  Reply callOn(const std::string& interface, const char* method, GVariant* arguments) {
    struct Call {
      bool done = false;
      Reply reply;
    } call;
    const auto done = [](GObject* source, GAsyncResult* result, gpointer data) {
      auto* call = static_cast<Call*>(data);
      ErrorSlot error;
      call->reply.value.reset(
          g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, error.out()));
      if (error.isSet()) {
        const GTextPtr name(g_dbus_error_get_remote_error(error.get()));
        call->reply.error = name ? name.get() : error.message();
      }
      call->done = true;
    };
    g_dbus_connection_call(connection.get(), name.c_str(), path.c_str(), interface.c_str(), method,
                           arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, done, &call);
    EXPECT_TRUE(iterateUntil([&] { return call.done; }));
    return std::move(call.reply);
  }

  static void onSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                       const gchar* name, GVariant* arguments, gpointer self) {
    static_cast<BusClient*>(self)->signals.push_back({name, GVariantPtr(g_variant_ref(arguments))});
  }

  GObjectPtr<GDBusConnection> connection;
  std::string name;
  std::string path;
  std::string interface;
};

constexpr char INVALID_ARGS[] = "org.freedesktop.DBus.Error.InvalidArgs";

}  // namespace device

#endif
