#ifndef DEVICE_SERVICES_BUS_H
#define DEVICE_SERVICES_BUS_H

#include <gio/gio.h>

#include <string>

#include "base/glib_ptr.h"

namespace device {

// A connection of its own to the system bus; throws std::runtime_error when there is none.
GObjectPtr<GDBusConnection> connectToSystemBus();

// A well-known name on the bus, held from construction to destruction. Objects are to be exported
// before, so that whoever sees the name finds them.
class BusName {
 public:
  // Throws std::runtime_error when another process holds the name.
  BusName(GDBusConnection* connection, std::string busName);
  BusName(const BusName&) = delete;
  BusName& operator=(const BusName&) = delete;
  ~BusName();

 private:
  GObjectPtr<GDBusConnection> connection;
  std::string name;
};

// An object on the bus, from construction to destruction.
class BusObject {
 public:
  // Takes over the skeleton; throws std::runtime_error when the path is taken.
  BusObject(GDBusConnection* connection, gpointer created, const std::string& path);
  BusObject(const BusObject&) = delete;
  BusObject& operator=(const BusObject&) = delete;
  ~BusObject();

  gpointer get() const { return skeleton.get(); }

 private:
  GObjectPtr<GDBusInterfaceSkeleton> skeleton;
};

// Answers a call with org.freedesktop.DBus.Error.InvalidArgs.
void answerInvalidArgs(GDBusMethodInvocation* invocation, const std::string& message);

}  // namespace device

#endif
