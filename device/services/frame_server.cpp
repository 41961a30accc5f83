#include "services/frame_server.h"

#include <algorithm>
#include <map>
#include <utility>

namespace device {

namespace {

void appendBigEndian(std::uint64_t value, int bytes, std::vector<std::uint8_t>* out) {
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    out->push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

SharedBytes withHead(const std::vector<std::uint8_t>& payload, std::int64_t time) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(12 + payload.size());
  appendBigEndian(payload.size(), 4, &bytes);
  appendBigEndian(static_cast<std::uint64_t>(time), 8, &bytes);
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
