#include "onvif_client/gstreamer.h"

#include <gst/gst.h>

#include <array>
#include <stdexcept>
#include <string>

#include "base/glib_ptr.h"

namespace device::onvif {

void startGStreamer() {
  if (gst_is_initialized() == FALSE) {
    std::string program = "onvif";
    std::string disable = "--gst-disable-registry-update";
    std::array<char*, 3> arguments = {program.data(), disable.data(), nullptr};
    int count = 2;
    char** words = arguments.data();
    ErrorSlot error;
    if (gst_init_check(&count, &words, error.out()) == FALSE) {
      throw std::runtime_error("GStreamer: " + error.message());
    }
  }
  for (const char* name : {"coreelements", "app", "rtp", "rtpmanager", "rtsp", "udp", "tcp"}) {
    ErrorSlot error;
    const std::string file = std::string(GSTREAMER_PLUGINS) + "/libgst" + name + ".so";
    const GObjectPtr<GstPlugin> plugin(gst_plugin_load_file(file.c_str(), error.out()));
    if (!plugin) {
      throw std::runtime_error("GStreamer: " + error.message());
    }
  }
}

}  // namespace device::onvif
