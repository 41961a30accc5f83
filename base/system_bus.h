// The process' connection to the system bus.
#ifndef BASE_SYSTEM_BUS_H
#define BASE_SYSTEM_BUS_H

#include "base/glib_ptr.h"

using SystemBusPtr = GObjectPtr<GDBusConnection>;

// One open connection, shared by all who hold it in a program or library and made anew when the bus
// has been lost. Not the process' common one (g_bus_get): that would end the process with the bus,
// and stay closed for as long as anybody holds it. Null, with *error set when error is not null,
// while there is no bus. Cancelling cuts the making of a connection short; cancellable may be null.
// Any thread.
SystemBusPtr openSystemBus(GError** error, GCancellable* cancellable = nullptr);

#endif
