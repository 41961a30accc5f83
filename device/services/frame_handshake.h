#ifndef DEVICE_SERVICES_FRAME_HANDSHAKE_H
#define DEVICE_SERVICES_FRAME_HANDSHAKE_H

#include <optional>
#include <string>
#include <string_view>

namespace device {

// What a frame holds, and the bits in which clients ask for it.
enum FrameProperty_e {
  FRAME_BOX = 1,
  FRAME_POLYGON = 2,
  FRAME_VELOCITY = 4,
  FRAME_LOW_CONFIDENT = 8  // objects of low confidence too, and the confidence of each
};

// A client's wish.
struct FrameRequest {
  int channel = 0;  // counted from 0
  int mask = 0;     // FrameProperty_e bits
};

// The answer to a request line; without a request the connection is refused.
struct HandshakeAnswer {
  std::string reply;
  std::optional<FrameRequest> request;
};

// The scene socket's request "VERSION OPEN BOX POLYGON VELOCITY CHANNEL" with 0 or 1 for each
// property and the channel counted from 1. Only version 1.0 is spoken; the answer "1.0 OK" or
// "1.0 ERROR", ended by a zero byte, tells so to a client of a newer version, which asks with a
// fourth property.
HandshakeAnswer sceneHandshake(std::string_view line, int channels);

// The subscriber module's request "SUBSCRIBE CHANNEL MASK", the channel counted from 0; the answer
// is the line "OK" or "NO".
HandshakeAnswer subscriberHandshake(std::string_view line, int channels);

}  // namespace device

#endif
