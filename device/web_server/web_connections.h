#ifndef DEVICE_WEB_SERVER_WEB_CONNECTIONS_H
#define DEVICE_WEB_SERVER_WEB_CONNECTIONS_H

#include <gio/gio.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <string>

#include "base/glib_ptr.h"

namespace device {

struct ConnectionLimits {
  std::size_t all = 512;
  std::size_t ofAddress = 256;  // of one client's address
  std::size_t streams = 128;    // among them

  // From one step of a connection's life to the next.
  std::chrono::milliseconds header = std::chrono::seconds(10);
  std::chrono::milliseconds body = std::chrono::seconds(30);
  std::chrono::milliseconds answer = std::chrono::seconds(40);  // the application's time included
};

// What a connection does.
enum class ConnectionStep_e {
  header,  // waits for its request
  body,    // waits for its request's body
  answer,  // is answered
  stream,  // reads a stream, for as long as it likes
  ended    // is ended, and goes when its owner notices
};

// The connections of the web server, which belong to the library: how many there are, and how long
// each may take. Who comes when there is no room takes the place of the oldest that has not sent
// its request yet.
class WebConnections {
 public:
  explicit WebConnections(const ConnectionLimits& limits);
  WebConnections(const WebConnections&) = delete;
  WebConnections& operator=(const WebConnections&) = delete;
  ~WebConnections();

  // Watches a new connection, whose step is HEADER, until it is destroyed. False when there is no
  // room: the caller closes it. remote stands for the connection from then on.
  bool add(GSocketConnection* connection, GSocketAddress* remote);

  // A connection that is ended already stays so.
  void enter(GSocketAddress* remote, ConnectionStep_e step);

  // Of a connection that is there: the library does not give out the sockets of others'
  // connections.
  GObjectPtr<GSocket> socketOf(GSocketAddress* remote) const;

  // Ends the oldest connection that has not sent its request, if there is one.
  void makeRoom();

  bool hasRoomForStream() const;

  std::size_t size() const;  // those that are ended left out

 private:
  struct Connection;
  using Condition = std::function<bool(const Connection& connection)>;

  static void gone(gpointer connection, GObject*);
  static gboolean late(gpointer connection);
  std::size_t count(const Condition& condition) const;
  bool endOldestWaiting(const Condition& condition);
  std::chrono::milliseconds limitOf(ConnectionStep_e step) const;
  void enter(Connection* connection, ConnectionStep_e step);

  ConnectionLimits limits;
  std::list<Connection> connections;  // the oldest first
};

}  // namespace device

#endif
