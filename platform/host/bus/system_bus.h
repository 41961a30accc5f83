// The library's connection to the system bus.
#ifndef BUS_SYSTEM_BUS_H
#define BUS_SYSTEM_BUS_H

#include "bus/g_ptr.h"

// One open connection, shared by all who hold it. When the bus has been lost, the next call makes a
// new one; the process' common connection (g_bus_get) would stay the closed one as long as anybody
// in the process holds it. Null, with *error set when error is not null, while there is no bus. Any
// thread.
GObjectPtr<GDBusConnection> openSystemBus(GError** error);

#endif
