#include "web_server/event_stream.h"

#include <iterator>
#include <utility>

namespace device {

std::string streamMessage(const std::string& type, const std::string& data) {
  return "event: " + type + "\ndata: " + data + "\n\n";
}

struct EventStream::Reader {
  GObjectPtr<GIOStream> stream;
  std::unique_ptr<StreamClient> client;
};

EventStream::EventStream(std::chrono::microseconds heartbeat, std::size_t queueLimit)
    : queueLimit(queueLimit), heartbeat(heartbeat.count(), [this] { send(":\n\n"); }) {}

EventStream::~EventStream() = default;

void EventStream::add(GObjectPtr<GIOStream> stream, GSocket* socket, const std::string& head) {
  const auto reader = readers.insert(readers.end(), Reader{std::move(stream), nullptr});
  g_socket_set_blocking(socket, FALSE);
  reader->client = std::make_unique<StreamClient>(
      GObjectPtr<GSocket>(G_SOCKET(g_object_ref(socket))), queueLimit,
      StreamClient::Callbacks{.onLine = [](std::string_view) {},
                              .onClosed = [this, reader] { readers.erase(reader); }});
  if (!reader->client->send(sharedBytes(head))) {
    readers.erase(reader);
  }
}

void EventStream::send(const std::string& text) {
  if (readers.empty()) {
    return;
  }
  const SharedBytes bytes = sharedBytes(text);
  std::erase_if(readers, [&](const Reader& reader) { return !reader.client->send(bytes); });
}

}  // namespace device
