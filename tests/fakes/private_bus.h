#ifndef TESTS_FAKES_PRIVATE_BUS_H
#define TESTS_FAKES_PRIVATE_BUS_H

#include <gio/gio.h>

#include <functional>
#include <string>

#include "base/glib_ptr.h"
#include "support/main_loop.h"

// A message bus of the test program's own in the place of the system's.
namespace PrivateBus {

// Starts the bus at the first call; from then on every system bus client of the process finds it.
// Call it before anything else looks for the system bus.
const char* address();

// Ends the bus and starts another one; services on the old one are to be made anew.
void restart();

}  // namespace PrivateBus

// Services on the private bus, on a connection and a thread of their own.
class BusServices {
 public:
  // Without a name.
  BusServices();

  // Owns a bus name.
  explicit BusServices(const std::string& name);
  BusServices(const BusServices&) = delete;
  BusServices& operator=(const BusServices&) = delete;

  // Gives the name back, which the bus knows before this returns.
  ~BusServices();

  // Takes a bus name, for the life of the services; false when it is somebody else's. On the
  // services' thread.
  bool own(const std::string& name);

  // Runs a function on the services' thread and waits for its end.
  void invoke(const std::function<void()>& function) { loop.invoke(function); }

  // Export and withdraw an interface; on the services' thread.
  void exportAt(GDBusInterfaceSkeleton* skeleton, const std::string& path);
  void withdraw(GDBusInterfaceSkeleton* skeleton);

  // Sends what is waiting, property changes for instance; on the services' thread.
  void flush(GDBusInterfaceSkeleton* skeleton);

  GMainContext* getContext() { return context.get(); }
  LoopThread& getLoop() { return loop; }

 private:
  // The result of a method of the bus itself, 0 on failure.
  guint32 callBus(const char* method, GVariant* arguments);

  std::string ownName;
  GMainContextPtr context{g_main_context_new()};
  GObjectPtr<GDBusConnection> connection;
  LoopThread loop{context.get()};
};

#endif
