#ifndef DEVICE_BRIDGE_REMOTE_OVERVIEW_H
#define DEVICE_BRIDGE_REMOTE_OVERVIEW_H

#include <cstdint>
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

  // lastId: that was given in this channel before; no id is given twice.
  RemoteOverview(const OverviewSettings& settings, const onvif::Login& login, OnFrame onFrame,
                 Announce announce, std::int32_t lastId = 0);
  RemoteOverview(const RemoteOverview&) = delete;
  RemoteOverview& operator=(const RemoteOverview&) = delete;

  // Whoever was told is told to be gone. Also when the camera is lost.
  void lose();

  // That was given to an object.
  std::int32_t getLastId() const { return scene.getLastId(); }

 private:
  void metadataCame(const onvif::MetadataArrival& arrival);

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
