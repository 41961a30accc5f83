#ifndef DEVICE_SERVICES_STREAM_CLIENT_H
#define DEVICE_SERVICES_STREAM_CLIENT_H

#include <gio/gio.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/glib_ptr.h"

namespace device {

// Bytes that may wait for several clients at once.
using SharedBytes = std::shared_ptr<const std::vector<std::uint8_t>>;

SharedBytes sharedBytes(std::string_view text);

// One connection of a stream socket: lines come in, bytes go out. Nothing here blocks: what the
// client does not take waits in a queue, and a client that lets the queue grow beyond its limit has
// lost its connection.
class StreamClient {
 public:
  struct Callbacks {
    // A whole line without its line feed. The client may not be destroyed from here.
    std::function<void(std::string_view line)> onLine;
    // The connection has gone; the client may be destroyed from here.
    std::function<void()> onClosed;
  };

  StreamClient(GObjectPtr<GSocket> connected, std::size_t queueLimit, Callbacks callbacks);
  StreamClient(const StreamClient&) = delete;
  StreamClient& operator=(const StreamClient&) = delete;

  // Sends or queues. False when the connection has gone or is lost now; onClosed is not called for
  // that, the caller knows.
  bool send(SharedBytes bytes);

  // Closes once everything queued has been sent; lines are no longer read.
  void closeWhenSent();

 private:
  static gboolean readable(GSocket* socket, GIOCondition condition, gpointer self);
  static gboolean writable(GSocket* socket, GIOCondition condition, gpointer self);
  bool receive();
  void handleLines();
  bool flush();
  void fail();

  GObjectPtr<GSocket> socket;
  std::size_t queueLimit;
  Callbacks callbacks;
  std::string received;
  std::deque<SharedBytes> queue;
  std::size_t sentOfFront = 0;
  std::size_t queued = 0;
  bool closing = false;
  bool failed = false;
  GSourcePtr readSource;
  GSourcePtr writeSource;
};

}  // namespace device

#endif
