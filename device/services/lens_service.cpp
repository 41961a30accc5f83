#include "services/lens_service.h"

#include <string>

#include "base/bus_names.h"
#include "device_dbus.h"

namespace device {

namespace {

using bus_names::LENSES;

std::list<BusObject> offer(GDBusConnection* connection, std::span<const Lens> lenses) {
  std::list<BusObject> objects;
  for (std::size_t channel = 0; channel < lenses.size(); ++channel) {
    const Lens& lens = lenses[channel];
    auto* skeleton = bus_m12_lens_selection_fov_skeleton_new();
    bus_m12_lens_selection_fov_set_optics_wide_hfo_v(skeleton, lens.horizontalFov);
    bus_m12_lens_selection_fov_set_optics_wide_vfo_v(skeleton, lens.verticalFov);
    bus_m12_lens_selection_fov_set_sensor_rotation(skeleton, lens.rotation);
    objects.emplace_back(connection, skeleton, LENSES.path + std::to_string(channel));
  }
  return objects;
}

}  // namespace

LensService::LensService(GDBusConnection* connection, std::span<const Lens> lenses)
    : objects(offer(connection, lenses)), name(connection, LENSES.name) {}

}  // namespace device
