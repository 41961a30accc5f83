#include "bridge/overview_cameras.h"

namespace device::bridge {

void OverviewCameras::start(const std::vector<OverviewSettings>& settings,
                            const Credentials& credentials) {
  end();
  int channel = 0;
  for (const OverviewSettings& camera : settings) {
    cameras.emplace_back(
        camera, loginOf(credentials, camera.address.login),
        [this, channel](const Frame& frame) { onFrame(channel, frame); },
        [this, name = camera.name](const std::string& text) { announce(name, text); },
        lastIds[channel]);
    ++channel;
  }
}

void OverviewCameras::end() {
  int channel = 0;
  for (RemoteOverview& camera : cameras) {
    camera.lose();
    lastIds[channel] = camera.getLastId();
    ++channel;
  }
  cameras.clear();
}

}  // namespace device::bridge
