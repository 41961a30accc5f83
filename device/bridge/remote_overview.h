#ifndef DEVICE_BRIDGE_REMOTE_OVERVIEW_H
#define DEVICE_BRIDGE_REMOTE_OVERVIEW_H

#include <functional>
#include <string>

#include "bridge/bridge_settings.h"
#include "bridge/camera_link.h"
#include "bridge/frame_clock.h"
#include "bridge/scene_maker.h"
#include "world/frame.h"

namespace device::bridge {

// An overview camera that is reached by ONVIF: its metadata as frames of a scene.
class RemoteOverview {
 public:
  using OnFrame = std::function<void(const Frame& frame)>;

  RemoteOverview(const OverviewSettings& settings, const onvif::Login& login, OnFrame onFrame,
                 Announce announce);
  RemoteOverview(const RemoteOverview&) = delete;
  RemoteOverview& operator=(const RemoteOverview&) = delete;

 private:
  void metadataCame(const onvif::MetadataArrival& arrival);
  void lost();

  OverviewSettings settings;
  OnFrame onFrame;
  Announce announce;
  FrameClock clock;
  SceneMaker scene;
  std::string troubleTold;  // of the documents
  CameraLink link;
};

}  // namespace device::bridge

#endif
