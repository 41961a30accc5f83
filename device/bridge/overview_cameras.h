#ifndef DEVICE_BRIDGE_OVERVIEW_CAMERAS_H
#define DEVICE_BRIDGE_OVERVIEW_CAMERAS_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bridge/bridge_settings.h"
#include "bridge/remote_overview.h"
#include "world/frame.h"

namespace device::bridge {

// The overview cameras, a channel each. They change while the application stays: one that is
// reached and read as before goes on, with its objects; whom another one told is told to be gone,
// and no id is given twice in a channel.
class OverviewCameras {
 public:
  using OnFrame = std::function<void(int channel, const Frame& frame)>;
  using AnnounceOf = std::function<void(const std::string& camera, const std::string& text)>;

  OverviewCameras(OnFrame onFrame, AnnounceOf announce)
      : onFrame(std::move(onFrame)), announce(std::move(announce)) {}

  // In the place of those that were there. Throws SettingsError for a login that is not there and
  // std::runtime_error for what is no address.
  void take(const std::vector<OverviewSettings>& settings, const Credentials& credentials);

 private:
  struct Camera {
    OverviewSettings settings;
    onvif::Login login;
    std::unique_ptr<RemoteOverview> remote;
  };

  void start(int channel, const OverviewSettings& settings, const onvif::Login& login);
  void end(int channel);

  OnFrame onFrame;
  AnnounceOf announce;
  std::map<int, std::int32_t> lastIds;  // by channel
  std::map<int, Camera> cameras;        // likewise
};

}  // namespace device::bridge

#endif
