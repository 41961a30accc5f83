#ifndef DEVICE_SERVICES_LENS_SERVICE_H
#define DEVICE_SERVICES_LENS_SERVICE_H

#include <gio/gio.h>

#include <list>
#include <span>

#include "services/bus.h"

namespace device {

struct Lens {
  double horizontalFov = 0;  // degrees across the upright picture
  double verticalFov = 0;
  int rotation = 0;  // of the sensor, degrees
};

// Publishes the lens of each channel on the bus.
class LensService {
 public:
  // The lens of channel 0 first.
  LensService(GDBusConnection* connection, std::span<const Lens> lenses);

 private:
  std::list<BusObject> objects;
  BusName name;
};

}  // namespace device

#endif
