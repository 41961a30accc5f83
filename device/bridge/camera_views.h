#ifndef DEVICE_BRIDGE_CAMERA_VIEWS_H
#define DEVICE_BRIDGE_CAMERA_VIEWS_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "bridge/bridge_settings.h"

namespace device::bridge {

// What the cameras of the settings see, for a page that asks again and again: each is asked once
// what it can, and then for one picture after the other, as long as somebody looks. In the main
// loop of its thread.
class CameraViews {
 public:
  struct View {
    std::string trouble;  // why there is no newer one, for the user; empty when nothing is wrong
    std::string jpeg;     // as base64; empty before the first
    std::int64_t number = 0;  // of the picture, from 1
  };

  CameraViews();
  CameraViews(const CameraViews&) = delete;
  CameraViews& operator=(const CameraViews&) = delete;
  ~CameraViews();

  // What has come until now; fetches the next picture unless that is on its way. isHead: as
  // CameraLink. The view is good until the next call. Throws std::runtime_error for what is no
  // address.
  const View& look(const CameraAddress& address, const onvif::Login& login, bool isHead);

  // The settings are others now.
  void forget();

 private:
  class Watch;

  std::map<std::string, std::unique_ptr<Watch>> watches;  // by device service and profile
};

}  // namespace device::bridge

#endif
