#ifndef PTZ_SYSTEM_BUS_H
#define PTZ_SYSTEM_BUS_H

#include <gio/gio.h>

#include <memory>

struct SystemBusUnref {
  void operator()(GDBusConnection* connection) const { g_object_unref(connection); }
};

using SystemBusPtr = std::unique_ptr<GDBusConnection, SystemBusUnref>;

// The daemon's own connection to the system bus, shared by all who hold it and made anew when the
// bus has been lost. Not the process' common one (g_bus_get): that would end the process with the
// bus, and stay closed for as long as anybody holds it. Null, with *error set, while there is no
// bus. Cancelling cuts the making of a connection short; cancellable may be null. Any thread.
SystemBusPtr openSystemBus(GError** error, GCancellable* cancellable = nullptr);

#endif
