#ifndef DEVICE_SERVICES_PARAMETER_SERVICE_H
#define DEVICE_SERVICES_PARAMETER_SERVICE_H

#include <gio/gio.h>

#include "services/bus.h"
#include "services/parameter_store.h"

namespace device {

// Offers the parameter store on the bus. Used from the thread of the main loop only.
class ParameterService {
 public:
  // The store must outlive the service.
  ParameterService(GDBusConnection* connection, ParameterStore& store);

 private:
  struct Handlers;

  ParameterStore& store;
  BusObject object;
  BusName name;
};

}  // namespace device

#endif
