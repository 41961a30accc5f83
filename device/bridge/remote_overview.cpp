#include "bridge/remote_overview.h"

#include <glib.h>

#include <utility>

namespace device::bridge {

RemoteOverview::RemoteOverview(const OverviewSettings& settings, const onvif::Login& login,
                               OnFrame onFrame, Announce announce, std::int32_t lastId)
    : settings(settings),
      onFrame(std::move(onFrame)),
      announce(std::move(announce)),
      clock(settings.leastDelay),
      scene(settings.wishes, lastId),
      link(settings.address, login, false, true,
           {.onFound = [](const CameraFound&) {},
            .onMetadata = [this](const auto& arrival) { metadataCame(arrival); },
            .onLost = [this] { lose(); },
            .announce = this->announce}) {}

void RemoteOverview::metadataCame(const onvif::MetadataArrival& arrival) try {
  const onvif::MetadataDocument document = onvif::readMetadata(arrival.document, settings.pixels);
  for (const onvif::SeenFrame& seen : document.frames) {
    onFrame(scene.take(seen, clock.timeOf(seen.time, arrival.sent, arrival.time)));
  }
  troubleTold.clear();
} catch (const onvif::MetadataError& error) {
  if (std::exchange(troubleTold, error.what()) != error.what()) {
    announce(error.what());
  }
}

void RemoteOverview::lose() {
  if (const auto frame = scene.lose(g_get_monotonic_time())) {
    onFrame(*frame);
  }
}

}  // namespace device::bridge
