#ifndef DEVICE_WEB_SERVER_EVENT_STREAM_H
#define DEVICE_WEB_SERVER_EVENT_STREAM_H

#include <gio/gio.h>

#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "base/glib_ptr.h"
#include "services/periodic_timer.h"
#include "services/stream_client.h"

namespace device {

// One message of a stream of server-sent events.
std::string streamMessage(const std::string& type, const std::string& data);

// The readers of one stream of server-sent events. A reader that lets too much wait is dropped; it
// connects again and is told the present state.
class EventStream {
 public:
  static constexpr std::size_t QUEUE_LIMIT = std::size_t{4} << 20;  // bytes for one reader

  // heartbeat: time between two comment lines, by which readers that have gone are found.
  explicit EventStream(std::chrono::microseconds heartbeat, std::size_t queueLimit = QUEUE_LIMIT);
  EventStream(const EventStream&) = delete;
  EventStream& operator=(const EventStream&) = delete;
  ~EventStream();

  // A new reader, whose request has been read. stream owns the socket; head is sent first.
  void add(GObjectPtr<GIOStream> stream, GSocket* socket, const std::string& head);

  void send(const std::string& text);

  bool hasReaders() const { return !readers.empty(); }

 private:
  struct Reader;

  std::size_t queueLimit;
  std::list<Reader> readers;
  PeriodicTimer heartbeat;
};

}  // namespace device

#endif
