#include "fakes/fake_lens.h"

#include <string>

#include "head_services.h"

FakeLens::FakeLens() : services("com.orva.M12LensSelectionFov") {}

FakeLens::~FakeLens() {
  services.invoke([this] {
    for (const auto& [channel, lens] : lenses) {
      services.withdraw(G_DBUS_INTERFACE_SKELETON(lens.get()));
    }
    lenses.clear();
  });
}

void FakeLens::set(std::uint32_t channel, double horizontalFov, double verticalFov, int rotation) {
  services.invoke([&] {
    auto& lens = lenses[channel];
    const bool isNew = !lens;
    if (isNew) {
      lens.reset(head_services_m12_lens_selection_fov_skeleton_new());
    }
    head_services_m12_lens_selection_fov_set_optics_wide_hfo_v(lens.get(), horizontalFov);
    head_services_m12_lens_selection_fov_set_optics_wide_vfo_v(lens.get(), verticalFov);
    head_services_m12_lens_selection_fov_set_sensor_rotation(lens.get(), rotation);
    if (isNew) {
      services.exportAt(G_DBUS_INTERFACE_SKELETON(lens.get()),
                        "/com/orva/M12LensSelectionFov/" + std::to_string(channel));
    }
    services.flush(G_DBUS_INTERFACE_SKELETON(lens.get()));
  });
}
