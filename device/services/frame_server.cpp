#include "services/frame_server.h"

#include <algorithm>
#include <map>
#include <utility>

#include "base/big_endian.h"

namespace device {

namespace {

SharedBytes withHead(const std::vector<std::uint8_t>& payload, std::int64_t time) {
  const auto length = toBigEndian(static_cast<std::uint32_t>(payload.size()));
  const auto moment = toBigEndian(static_cast<std::uint64_t>(time));
  std::vector<std::uint8_t> bytes;
  bytes.reserve(length.size() + moment.size() + payload.size());
  bytes.insert(bytes.end(), length.begin(), length.end());
  bytes.insert(bytes.end(), moment.begin(), moment.end());
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  return std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
}

}  // namespace

FrameServer::FrameServer(const std::string& path, Handshake handshake, int channels,
                         std::size_t queueLimit)
    : handshake(std::move(handshake)),
      channels(channels),
      queueLimit(queueLimit),
      listener(path, [this](GObjectPtr<GSocket> socket) { accept(std::move(socket)); }) {}

void FrameServer::publish(int channel, std::int64_t time, const Encode& encode) {
  std::map<int, SharedBytes> encoded;
  for (auto client = clients.begin(); client != clients.end();) {
    const auto current = client++;
    if (!current->request || current->request->channel != channel) {
      continue;
    }
    SharedBytes& bytes = encoded[current->request->mask];
    if (!bytes) {
      bytes = withHead(encode(current->request->mask), time);
    }
    if (!current->stream->send(bytes)) {
      clients.erase(current);
    }
  }
}

std::size_t FrameServer::subscribers() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      clients, [](const Client& client) { return client.request.has_value(); }));
}

void FrameServer::accept(GObjectPtr<GSocket> socket) {
  const Position client = clients.emplace(clients.end());
  client->stream = std::make_unique<StreamClient>(
      std::move(socket), queueLimit,
      StreamClient::Callbacks{[this, client](std::string_view line) { handleLine(client, line); },
                              [this, client] { clients.erase(client); }});
}

void FrameServer::handleLine(Position client, std::string_view line) {
  if (client->request) {
    return;
  }
  const HandshakeAnswer answer = handshake(line, channels);
  client->request = answer.request;
  client->stream->send(sharedBytes(answer.reply));
  if (!answer.request) {
    client->stream->closeWhenSent();
  }
}

}  // namespace device
