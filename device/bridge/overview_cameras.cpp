#include "bridge/overview_cameras.h"

namespace device::bridge {

namespace {

// Of what is asked of the camera, and made of what it tells. Where it looks is the application's.
bool isReadAlike(const OverviewSettings& one, const OverviewSettings& other) {
  return one.address == other.address && one.wishes == other.wishes && one.pixels == other.pixels &&
         one.leastDelay == other.leastDelay;
}

}  // namespace

void OverviewCameras::take(const std::vector<OverviewSettings>& settings,
                           const Credentials& credentials) {
  const int count = static_cast<int>(settings.size());
  while (!cameras.empty() && cameras.rbegin()->first >= count) {
    end(cameras.rbegin()->first);
  }
  for (int channel = 0; channel < count; ++channel) {
    const OverviewSettings& wanted = settings[static_cast<std::size_t>(channel)];
    const onvif::Login login = loginOf(credentials, wanted.address.login);
    const auto present = cameras.find(channel);
    const bool isThere = present != cameras.end();
    if (isThere && present->second.login == login &&
        isReadAlike(present->second.settings, wanted)) {
      present->second.settings = wanted;
      continue;
    }
    if (isThere) {
      end(channel);
    }
    start(channel, wanted, login);
  }
}

void OverviewCameras::start(int channel, const OverviewSettings& settings,
                            const onvif::Login& login) {
  auto remote = std::make_unique<RemoteOverview>(
      settings, login, [this, channel](const Frame& frame) { onFrame(channel, frame); },
      [this, channel, name = settings.name](const std::string& text) {
        const auto present = cameras.find(channel);  // not as long as it begins
        announce(present == cameras.end() ? name : present->second.settings.name, text);
      },
      lastIds[channel]);
  cameras.emplace(channel, Camera{settings, login, std::move(remote)});
}

void OverviewCameras::end(int channel) {
  RemoteOverview& remote = *cameras.at(channel).remote;
  remote.lose();
  lastIds[channel] = remote.getLastId();
  cameras.erase(channel);
}

}  // namespace device::bridge
