#include "rtsp/rtsp_connections.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "base/units.h"

namespace device {
namespace {

constexpr std::chrono::milliseconds ENDING_TIME(2000);
constexpr char CONNECTIONS[] = "connections";

// What the library's objects keep of the connections, which may live longer than their server.
using Shared = std::shared_ptr<RtspConnections>;

void freeShared(gpointer shared) {
  delete static_cast<Shared*>(shared);
}

void freeWithClosure(gpointer shared, GClosure*) {
  freeShared(shared);
}

GstRTSPThreadPoolClass* usualClass(GstRTSPThreadPool* pool) {
  return static_cast<GstRTSPThreadPoolClass*>(g_type_class_peek_parent(G_OBJECT_GET_CLASS(pool)));
}

// By their names.
std::vector<std::string> sessionsOf(GstRTSPClient* client) {
  std::vector<std::string> names;
  GList* sessions = gst_rtsp_client_session_filter(client, nullptr, nullptr);
  for (const GList* each = sessions; each != nullptr; each = each->next) {
    names.emplace_back(gst_rtsp_session_get_sessionid(static_cast<GstRTSPSession*>(each->data)));
  }
  g_list_free_full(sessions, g_object_unref);
  return names;
}

gboolean close(gpointer client) {
  gst_rtsp_client_close(static_cast<GstRTSPClient*>(client));
  return G_SOURCE_REMOVE;
}

void callSoon(GMainContext* context, GSourceFunc function, gpointer data, GDestroyNotify free) {
  const GSourceReference source(g_idle_source_new());
  g_source_set_priority(source.get(), G_PRIORITY_HIGH);
  g_source_set_callback(source.get(), function, data, free);
  g_source_attach(source.get(), context);
}

}  // namespace

void RtspConnections::classMade(gpointer klass, gpointer) {
  static_cast<GstRTSPThreadPoolClass*>(klass)->get_thread = threadWanted;
}

void RtspConnections::watch(GstRTSPServer* server) {
  static const GType TYPE = g_type_register_static_simple(
      GST_TYPE_RTSP_THREAD_POOL, "SentrelRtspThreads", sizeof(GstRTSPThreadPoolClass), classMade,
      sizeof(GstRTSPThreadPool), nullptr, GTypeFlags{});
  const GObjectPtr<GstRTSPThreadPool> pool(
      static_cast<GstRTSPThreadPool*>(g_object_new(TYPE, "max-threads", -1, nullptr)));
  g_object_set_data_full(G_OBJECT(pool.get()), CONNECTIONS, new Shared(shared_from_this()),
                         freeShared);
  gst_rtsp_server_set_thread_pool(server, pool.get());
}

GstRTSPThread* RtspConnections::threadWanted(GstRTSPThreadPool* pool, GstRTSPThreadType type,
                                             GstRTSPContext* request) {
  GstRTSPThread* thread = usualClass(pool)->get_thread(pool, type, request);
  if (type == GST_RTSP_THREAD_TYPE_CLIENT && thread != nullptr) {
    const auto* shared = static_cast<Shared*>(g_object_get_data(G_OBJECT(pool), CONNECTIONS));
    (*shared)->came(request->client, thread->context);
  }
  return thread;
}

// The library goes on with the newcomer after this.
void RtspConnections::came(GstRTSPClient* client, GMainContext* thread) {
  g_signal_connect_data(client, "closed", G_CALLBACK(closed), new Shared(shared_from_this()),
                        freeWithClosure, GConnectFlags{});
  g_signal_connect_data(client, "new-session", G_CALLBACK(sessionBegan),
                        new Shared(shared_from_this()), freeWithClosure, GConnectFlags{});
  {
    const LockGuard lock(mutex);
    connections.push_back(
        {client, GMainContextPtr(g_main_context_ref(thread)), g_get_monotonic_time()});
  }
  callSoon(context.get(), limitSoon, new Shared(shared_from_this()), freeShared);
}

gboolean RtspConnections::limitSoon(gpointer self) {
  (*static_cast<Shared*>(self))->limit();
  return G_SOURCE_REMOVE;
}

void RtspConnections::sessionBegan(GstRTSPClient*, GstRTSPSession* session, gpointer data) {
  const RtspLimits& limits = (*static_cast<Shared*>(data))->limits;
  gst_rtsp_session_set_timeout(session, static_cast<guint>(limits.silence.count()));
  g_object_set(session, "extra-timeout", static_cast<guint>(limits.grace.count()), nullptr);
}

void RtspConnections::closed(GstRTSPClient* client, gpointer data) {
  (*static_cast<Shared*>(data))->gone(client);
}

void RtspConnections::gone(const GstRTSPClient* client) {
  {
    const LockGuard lock(mutex);
    std::erase_if(connections, [&](const Connection& each) { return each.client == client; });
  }
  fewer.notifyAll();
}

void RtspConnections::limit() {
  std::set<std::string> owned;
  for (const GObjectPtr<GstRTSPClient>& client : clients()) {
    const std::vector<std::string> sessions = sessionsOf(client.get());
    const std::size_t before = owned.size();
    owned.insert(sessions.begin(), sessions.end());
    note(client.get(), !sessions.empty(), owned.size() > before);
  }
  const std::int64_t now = g_get_monotonic_time();
  const LockGuard lock(mutex);
  std::vector<Connection*> idle;
  for (Connection& connection : connections) {
    if (!connection.isOwner && !connection.isEnding) {
      idle.push_back(&connection);
    }
  }
  std::ranges::stable_sort(idle, {}, &Connection::last);
  auto count =
      static_cast<std::size_t>(std::ranges::count(connections, false, &Connection::isEnding));
  const std::int64_t silence = units::fromSeconds(limits.silence.count());
  for (Connection* connection : idle) {
    const bool isSilent = !connection->hasSession && now - connection->last > silence;
    if (count > limits.connections || isSilent) {
      end(connection);
      --count;
    }
  }
}

std::vector<GObjectPtr<GstRTSPClient>> RtspConnections::clients() {
  const LockGuard lock(mutex);
  std::vector<GObjectPtr<GstRTSPClient>> all;
  for (const Connection& connection : connections) {
    all.emplace_back(static_cast<GstRTSPClient*>(g_object_ref(connection.client)));
  }
  return all;
}

void RtspConnections::note(const GstRTSPClient* client, bool hasSession, bool isOwner) {
  const LockGuard lock(mutex);
  const auto found = std::ranges::find(connections, client, &Connection::client);
  if (found != connections.end()) {
    found->hasSession = hasSession;
    found->isOwner = isOwner;
    found->last = isOwner ? g_get_monotonic_time() : found->last;
  }
}

void RtspConnections::end(Connection* connection) {
  connection->isEnding = true;
  callSoon(connection->context.get(), close, g_object_ref(connection->client), g_object_unref);
}

void RtspConnections::endPresent() {
  const LockGuard lock(mutex);
  for (Connection& connection : connections) {
    end(&connection);
  }
}

bool RtspConnections::endOne(const GstRTSPClient* client) {
  const LockGuard lock(mutex);
  const auto found = std::ranges::find(connections, client, &Connection::client);
  if (found == connections.end()) {
    return false;
  }
  end(&*found);
  return true;
}

void RtspConnections::endAll() {
  const LockGuard lock(mutex);
  for (Connection& connection : connections) {
    end(&connection);
  }
  const auto deadline = std::chrono::steady_clock::now() + ENDING_TIME;
  const auto timeLeft = [&] {
    return std::chrono::ceil<std::chrono::milliseconds>(deadline -
                                                        std::chrono::steady_clock::now());
  };
  while (!connections.empty() && fewer.waitFor(mutex, timeLeft())) {
  }
}

}  // namespace device
