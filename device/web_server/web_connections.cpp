#include "web_server/web_connections.h"

#include <algorithm>

namespace device {

struct WebConnections::Connection {
  WebConnections* owner;
  GSocketConnection* stream;  // not owned
  const GSocketAddress* remote;
  std::string address;
  ConnectionStep_e step;
  GSourcePtr timer;

  bool isOpen() const { return step != ConnectionStep_e::ended; }
  bool isWaiting() const {
    return step == ConnectionStep_e::header || step == ConnectionStep_e::body;
  }
};

namespace {

std::string textOf(GSocketAddress* remote) {
  const GTextPtr text(
      g_inet_address_to_string(g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(remote))));
  return text.get();
}

}  // namespace

WebConnections::WebConnections(const ConnectionLimits& limits) : limits(limits) {}

WebConnections::~WebConnections() {
  for (Connection& connection : connections) {
    g_object_weak_unref(G_OBJECT(connection.stream), gone, &connection);
  }
}

bool WebConnections::add(GSocketConnection* stream, GSocketAddress* remote) {
  const std::string address = textOf(remote);
  const auto isOfAddress = [&](const Connection& connection) {
    return connection.address == address;
  };
  const auto isAny = [](const Connection&) { return true; };
  if (count(isOfAddress) >= limits.ofAddress && !endOldestWaiting(isOfAddress)) {
    return false;
  }
  if (count(isAny) >= limits.all && !endOldestWaiting(isAny)) {
    return false;
  }
  Connection& connection = connections.emplace_back(
      Connection{this, stream, remote, address, ConnectionStep_e::header, nullptr});
  g_object_weak_ref(G_OBJECT(stream), gone, &connection);
  enter(&connection, ConnectionStep_e::header);
  return true;
}

void WebConnections::enter(GSocketAddress* remote, ConnectionStep_e step) {
  const auto found = std::ranges::find(connections, remote, &Connection::remote);
  if (found != connections.end() && found->isOpen()) {
    enter(&*found, step);
  }
}

GObjectPtr<GSocket> WebConnections::socketOf(GSocketAddress* remote) const {
  const auto found = std::ranges::find(connections, remote, &Connection::remote);
  if (found == connections.end()) {
    return nullptr;
  }
  GSocket* socket = g_socket_connection_get_socket(found->stream);
  return GObjectPtr<GSocket>(G_SOCKET(g_object_ref(socket)));
}

void WebConnections::makeRoom() {
  endOldestWaiting([](const Connection&) { return true; });
}

bool WebConnections::hasRoomForStream() const {
  return count([](const Connection& connection) {
           return connection.step == ConnectionStep_e::stream;
         }) < limits.streams;
}

std::size_t WebConnections::size() const {
  return count([](const Connection&) { return true; });
}

void WebConnections::gone(gpointer data, GObject*) {
  const auto* connection = static_cast<const Connection*>(data);
  connection->owner->connections.remove_if(
      [&](const Connection& candidate) { return &candidate == connection; });
}

gboolean WebConnections::late(gpointer data) {
  auto* connection = static_cast<Connection*>(data);
  connection->owner->enter(connection, ConnectionStep_e::ended);
  return G_SOURCE_REMOVE;
}

std::size_t WebConnections::count(const Condition& condition) const {
  return static_cast<std::size_t>(std::ranges::count_if(
      connections,
      [&](const Connection& connection) { return connection.isOpen() && condition(connection); }));
}

bool WebConnections::endOldestWaiting(const Condition& condition) {
  const auto oldest = std::ranges::find_if(connections, [&](const Connection& connection) {
    return connection.isWaiting() && condition(connection);
  });
  if (oldest == connections.end()) {
    return false;
  }
  enter(&*oldest, ConnectionStep_e::ended);
  return true;
}

std::chrono::milliseconds WebConnections::limitOf(ConnectionStep_e step) const {
  switch (step) {
    case ConnectionStep_e::header:
      return limits.header;
    case ConnectionStep_e::body:
      return limits.body;
    case ConnectionStep_e::answer:
      return limits.answer;
    default:
      return {};
  }
}

void WebConnections::enter(Connection* connection, ConnectionStep_e step) {
  connection->step = step;
  connection->timer.reset();
  if (step == ConnectionStep_e::ended) {
    // The library reads the end and closes; the descriptor stays its own until then.
    g_socket_shutdown(g_socket_connection_get_socket(connection->stream), TRUE, TRUE, nullptr);
    return;
  }
  const auto limit = limitOf(step);
  if (limit.count() == 0) {
    return;
  }
  connection->timer = startTimer(static_cast<guint>(limit.count()), late, connection);
}

}  // namespace device
