#ifndef TESTS_FAKES_PRIVATE_BUS_H
#define TESTS_FAKES_PRIVATE_BUS_H

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "base/glib_ptr.h"

// A message bus of the test program's own in the place of the system's.
namespace PrivateBus {

// Starts the bus at the first call; from then on every system bus client of the process finds it.
// Call it before anything else looks for the system bus.
const char* address();

}  // namespace PrivateBus

// Services on the private bus, on a connection and a thread of their own.
class BusServices {
 public:
  // Owns a bus name.
  explicit BusServices(const std::string& name);
  BusServices(const BusServices&) = delete;
  BusServices& operator=(const BusServices&) = delete;

  // Gives the name back, which the bus knows before this returns.
  ~BusServices();

  // Runs a function on the services' thread and waits for its end.
  void invoke(const std::function<void()>& function);

  // Export and withdraw an interface; on the services' thread.
  void exportAt(GDBusInterfaceSkeleton* skeleton, const std::string& path);
  void withdraw(GDBusInterfaceSkeleton* skeleton);

  // Sends what is waiting, property changes for instance; on the services' thread.
  void flush(GDBusInterfaceSkeleton* skeleton);

  GMainContext* getContext() { return context.get(); }

 private:
  void run();
  void callBus(const char* method, GVariant* arguments);

  const std::string name;
  std::unique_ptr<GMainContext, GDeleter<g_main_context_unref>> context;
  std::unique_ptr<GMainLoop, GDeleter<g_main_loop_unref>> loop;
  GObjectPtr<GDBusConnection> connection;
  std::thread thread;
};

// Runs the default main loop until a condition holds; false when it does not within a time that
// only a broken test needs.
bool iterateUntil(const std::function<bool()>& condition);

#endif
