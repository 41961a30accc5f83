#ifndef DEVICE_ONVIF_CLIENT_GSTREAMER_H
#define DEVICE_ONVIF_CLIENT_GSTREAMER_H

namespace device::onvif {

// Makes the library ready to receive RTSP, without its search through all that is installed, which
// takes a second or more. Again is harmless. Throws std::runtime_error.
void startGStreamer();

}  // namespace device::onvif

#endif
