#ifndef DEVICE_RTSP_RTSP_CONNECTIONS_H
#define DEVICE_RTSP_RTSP_CONNECTIONS_H

#include <gst/rtsp-server/rtsp-server.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/glib_ptr.h"
#include "base/mutex.h"

namespace device {

struct RtspLimits {
  std::size_t connections = 128;  // beyond, the oldest without a session of their own end
  unsigned sessions = 64;
  // Of a session without a word, and of a connection without a session.
  std::chrono::seconds silence{60};
  std::chrono::seconds grace{5};  // more for sessions, whose clients may wait until the last moment
  std::chrono::milliseconds look{2000};  // from one look for those to the next
};

// The connections of an RTSP server. Each has a thread of its own, so that one which waits for its
// first picture holds up no other; and it ends in that thread, as the library does not bear to have
// one ended by another thread while it is at work. Sessions have a number and a time by the
// library; connections without one have both from here. A session belongs to the oldest of the
// connections that name it.
class RtspConnections : public std::enable_shared_from_this<RtspConnections> {
 public:
  RtspConnections(const RtspLimits& limits, GMainContext* context)
      : limits(limits), context(g_main_context_ref(context)) {}

  // Those of a server from now on; to be called before it listens. context is that of its loop.
  void watch(GstRTSPServer* server);

  // Ends who has been without a session for too long, and who is too many. In the server's loop.
  void limit() EXCLUDES(mutex);

  // Ends all that there are by now, or one of them; false when it has ended already. Nobody waits.
  void endPresent() EXCLUDES(mutex);
  bool endOne(const GstRTSPClient* client) EXCLUDES(mutex);

  // Ends all, when the server's loop has ended. One that waits for its first picture is not waited
  // for: it ends by itself.
  void endAll() EXCLUDES(mutex);

 private:
  struct Connection {
    GstRTSPClient* client = nullptr;  // alive until it is closed
    GMainContextPtr context;          // of its thread
    std::int64_t last = 0;  // monotonic microseconds: when it came, or last had an own session
    bool hasSession = false;
    bool isOwner = false;
    bool isEnding = false;
  };

  static void classMade(gpointer klass, gpointer data);
  static GstRTSPThread* threadWanted(GstRTSPThreadPool* pool, GstRTSPThreadType type,
                                     GstRTSPContext* request);
  static void sessionBegan(GstRTSPClient* client, GstRTSPSession* session, gpointer data);
  static void closed(GstRTSPClient* client, gpointer data);
  static gboolean limitSoon(gpointer self);
  static void end(Connection* connection);

  void came(GstRTSPClient* client, GMainContext* thread) EXCLUDES(mutex);
  void gone(const GstRTSPClient* client) EXCLUDES(mutex);
  std::vector<GObjectPtr<GstRTSPClient>> clients() EXCLUDES(mutex);
  void note(const GstRTSPClient* client, bool hasSession, bool isOwner) EXCLUDES(mutex);

  const RtspLimits limits;
  GMainContextPtr context;
  Mutex mutex;
  Condition fewer;
  std::vector<Connection> connections GUARDED_BY(mutex);
};

}  // namespace device

#endif
