#ifndef DEVICE_RTSP_RTSP_SERVER_H
#define DEVICE_RTSP_RTSP_SERVER_H

#include <gst/rtsp-server/rtsp-server.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/glib_ptr.h"
#include "rtsp/rtsp_connections.h"
#include "rtsp/stream_faults.h"
#include "rtsp/stream_feeds.h"
#include "web_server/web_options.h"

namespace device {

// One picture with its places: H.264 at "/NAME", Motion JPEG at "/NAME/jpeg", both with the
// metadata beside; "/NAME/gzip" has these compressed; "/NAME/metadata" and "/NAME/metadata/gzip"
// have nothing else.
struct StreamSetup {
  std::string name;
  int width = 0;  // pixels, multiples of 8
  int height = 0;
};

struct StreamOptions {
  std::string address = "127.0.0.1";  // to listen on
  std::uint16_t port = 0;             // a free one when it is taken, or 0
  std::optional<WebUser> user;        // by digest; without: everybody
  int framesPerSecond = 10;
  RtspLimits limits = {};
  std::shared_ptr<StreamFaults> faults = {};  // null: none
};

// The RTSP side of the streams, in a thread of its own. Media go over the clients' connections
// only, so nothing else listens. All who watch one stream share one pipeline, whose entry is open
// in the feeds as long as somebody watches.
class RtspServer {
 public:
  // Throws std::runtime_error when it cannot listen, or a part of GStreamer is missing.
  RtspServer(const StreamOptions& options, const std::vector<StreamSetup>& streams,
             std::shared_ptr<StreamFeeds> feeds);
  RtspServer(const RtspServer&) = delete;
  RtspServer& operator=(const RtspServer&) = delete;

  // Ends all sessions and connections.
  ~RtspServer();

  std::uint16_t port() const { return boundPort; }

  // All that there are by now.
  void endConnections() { connections->endPresent(); }

 private:
  void addStream(const StreamOptions& options, const StreamSetup& setup, std::size_t stream,
                 const std::shared_ptr<StreamFeeds>& feeds);
  void listen(const StreamOptions& options);
  static gboolean cleanUp(gpointer self);

  GMainContextPtr context;
  GMainLoopPtr loop;
  std::shared_ptr<RtspConnections> connections;
  GObjectPtr<GstRTSPServer> server;
  GSourcePtr listener;
  GSourcePtr cleaner;
  std::uint16_t boundPort = 0;
  std::thread thread;
};

}  // namespace device

#endif
