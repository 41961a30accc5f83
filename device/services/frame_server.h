#ifndef DEVICE_SERVICES_FRAME_SERVER_H
#define DEVICE_SERVICES_FRAME_SERVER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "services/frame_handshake.h"
#include "services/local_socket.h"
#include "services/stream_client.h"

namespace device {

// Sends scene frames to the clients of one local socket. A client says once which channel and which
// properties it wants. A frame passes as its length (4 bytes, big-endian), its time (8 bytes,
// big-endian, monotonic microseconds) and its bytes. A client that does not keep up is dropped.
// Used from the thread of the main loop only.
class FrameServer {
 public:
  using Handshake = std::function<HandshakeAnswer(std::string_view line, int channels)>;
  // The bytes of the present frame with the properties of a mask.
  using Encode = std::function<std::vector<std::uint8_t>(int mask)>;

  static constexpr std::size_t QUEUE_LIMIT = 1 << 20;  // bytes for each client

  // Throws std::runtime_error when the socket cannot be opened.
  FrameServer(const std::string& path, Handshake handshake, int channels,
              std::size_t queueLimit = QUEUE_LIMIT);

  // Sends one frame of a channel (counted from 0) to the clients of that channel; encode is called
  // once for each mask asked for.
  void publish(int channel, std::int64_t time, const Encode& encode);

  // Only for tests.
  std::size_t countClients() const { return clients.size(); }
  // Clients that receive frames.
  std::size_t subscribers() const;

 private:
  struct Client {
    std::unique_ptr<StreamClient> stream;
    std::optional<FrameRequest> request;
  };
  using Position = std::list<Client>::iterator;

  void accept(GObjectPtr<GSocket> socket);
  void handleLine(Position client, std::string_view line);

  Handshake handshake;
  int channels;
  std::size_t queueLimit;
  std::list<Client> clients;
  LocalListener listener;
};

}  // namespace device

#endif
