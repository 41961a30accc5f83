#ifndef DEVICE_ONVIF_CLIENT_METADATA_STREAM_H
#define DEVICE_ONVIF_CLIENT_METADATA_STREAM_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "onvif_client/login.h"

namespace device::onvif {

struct MetadataArrival {
  std::string document;
  std::int64_t time = 0;             // of its last packet, monotonic microseconds
  std::optional<std::int64_t> sent;  // of the camera's clock by RTCP, microseconds since 1970
};

// The metadata of one RTSP address, without the pictures beside it. Used from the thread of the
// main loop, which everything is told in. Ends for good at the first trouble.
class MetadataStream {
 public:
  struct Callbacks {
    std::function<void(const MetadataArrival& arrival)> onDocument;
    // Words for the user. The stream may be destroyed from here.
    std::function<void(const std::string& words)> onTrouble;
  };

  // So long may a stream tell nothing at all, not even that the camera lives, before it counts as
  // broken. The camera is asked for that after half of it.
  static constexpr std::int64_t SILENCE = 10000000;  // microseconds

  // Throws std::runtime_error without GStreamer or its parts.
  MetadataStream(const std::string& address, const Login& login, Callbacks callbacks,
                 std::int64_t silence = SILENCE);
  MetadataStream(const MetadataStream&) = delete;
  MetadataStream& operator=(const MetadataStream&) = delete;
  ~MetadataStream();

 private:
  struct Parts;

  std::unique_ptr<Parts> parts;
};

}  // namespace device::onvif

#endif
