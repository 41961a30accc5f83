// A message bus of the test's own in the place of the system's, with services on it.
#ifndef PLATFORM_SERVICES_TEST_BUS_H
#define PLATFORM_SERVICES_TEST_BUS_H

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "base/glib_ptr.h"
#include "fakes/dbus_daemon.h"

constexpr std::chrono::seconds LONG_ENOUGH{30};

// Started with its first use; every system bus client of the process finds it.
class TestBus {
 public:
  static const char* address() { return daemon()->getAddress(); }

  // Ends the bus and starts another one; services on the old one are to be made anew.
  static void restart() {
    daemon().reset();
    daemon() = std::make_unique<DbusDaemon>();
  }

 private:
  static std::unique_ptr<DbusDaemon>& daemon() {
    static auto bus = std::make_unique<DbusDaemon>();
    return bus;
  }
};

// Runs a main context on a thread.
class LoopThread {
 public:
  explicit LoopThread(GMainContext* context)
      : loop(g_main_loop_new(context, FALSE)), thread([this] { run(); }) {}

  ~LoopThread() {
    invoke([this] { g_main_loop_quit(loop.get()); });
    thread.join();
  }

  // Runs a function on the thread and waits for its end.
  void invoke(const std::function<void()>& function) {
    std::promise<void> done;
    post([&] {
      function();
      done.set_value();
    });
    done.get_future().wait();
  }

  // The same without waiting.
  void post(std::function<void()> function) {
    const std::unique_ptr<GSource, GDeleter<g_source_unref>> source(g_idle_source_new());
    g_source_set_priority(source.get(), G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source.get(),
        [](gpointer call) -> gboolean {
          (*static_cast<std::function<void()>*>(call))();
          return G_SOURCE_REMOVE;
        },
        new std::function<void()>(std::move(function)),
        [](gpointer call) { delete static_cast<std::function<void()>*>(call); });
    g_source_attach(source.get(), g_main_loop_get_context(loop.get()));
  }

 private:
  void run() {
    GMainContext* context = g_main_loop_get_context(loop.get());
    g_main_context_push_thread_default(context);
    g_main_loop_run(loop.get());
    g_main_context_pop_thread_default(context);
  }

  std::unique_ptr<GMainLoop, GDeleter<g_main_loop_unref>> loop;
  std::thread thread;
};

// A service on the bus, on a connection and a thread of its own.
class TestService {
 public:
  // make is called on the service's thread and returns what is to be exported; the service owns it.
  TestService(const char* name, const char* path,
              const std::function<GDBusInterfaceSkeleton*()>& make)
      : loop(context.get()) {
    const char* address = TestBus::address();
    loop.invoke([&] { start(address, name, path, make); });
  }

  ~TestService() {
    loop.invoke([this] {
      g_dbus_interface_skeleton_unexport(skeleton.get());
      // The bus learns of a closed connection some time later, of this before it returns.
      callBus("ReleaseName", g_variant_new("(s)", name.c_str()));
      g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
    });
  }

  LoopThread& getLoop() { return loop; }

 private:
  void start(const char* address, const char* busName, const char* path,
             const std::function<GDBusInterfaceSkeleton*()>& make) {
    constexpr auto FLAGS =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    bus.reset(g_dbus_connection_new_for_address_sync(address, FLAGS, nullptr, nullptr, nullptr));
    ASSERT_NE(nullptr, bus);
    skeleton.reset(make());
    ASSERT_TRUE(g_dbus_interface_skeleton_export(skeleton.get(), bus.get(), path, nullptr));
    name = busName;
    ASSERT_EQ(1U, callBus("RequestName", g_variant_new("(su)", busName, 0U)))
        << "not the owner of " << busName;
  }

  // The result of a method of the bus itself, 0 on failure.
  guint32 callBus(const char* method, GVariant* arguments) {
    const GVariantPtr reply(g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        arguments, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    guint32 result = 0;
    if (reply) {
      g_variant_get(reply.get(), "(u)", &result);
    }
    return result;
  }

  std::string name;
  std::unique_ptr<GMainContext, GDeleter<g_main_context_unref>> context{g_main_context_new()};
  GObjectPtr<GDBusConnection> bus;
  GObjectPtr<GDBusInterfaceSkeleton> skeleton;
  LoopThread loop;
};

// The text of an error, which is released.
inline std::string takeMessage(GError*& error) {
  const GErrorPtr owned(std::exchange(error, nullptr));
  return owned ? owned->message : "";
}

#endif
