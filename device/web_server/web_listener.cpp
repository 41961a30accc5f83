#include "web_server/web_listener.h"

#include <stdexcept>
#include <utility>

#include "services/local_socket.h"

namespace device {

namespace {

GObjectPtr<GSocket> listenAt(const std::string& address, std::uint16_t port, GError** error) {
  const GObjectPtr<GSocketAddress> place(
      g_inet_socket_address_new_from_string(address.c_str(), port));
  if (!place) {
    return nullptr;
  }
  GObjectPtr<GSocket> socket(g_socket_new(g_socket_address_get_family(place.get()),
                                          G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP, error));
  if (!socket) {
    return nullptr;
  }
  g_socket_set_blocking(socket.get(), FALSE);
  g_socket_set_listen_backlog(socket.get(), WebListener::BACKLOG);
  const bool listens = g_socket_bind(socket.get(), place.get(), TRUE, error) != FALSE &&
                       g_socket_listen(socket.get(), error) != FALSE;
  return listens ? std::move(socket) : nullptr;
}

}  // namespace

WebListener::WebListener(const std::string& address, std::uint16_t port, Accept accept,
                         Shortage shortage)
    : accept(std::move(accept)), shortage(std::move(shortage)) {
  ErrorSlot error;
  socket = listenAt(address, port, error.out());
  if (!socket) {
    throw std::runtime_error("Cannot listen on " + address + " port " + std::to_string(port) +
                             ": " + error.message());
  }
  watch();
}

std::uint16_t WebListener::port() const {
  const GObjectPtr<GSocketAddress> own(g_socket_get_local_address(socket.get(), nullptr));
  return g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(own.get()));
}

void WebListener::watch() {
  source = watchSocket(socket.get(), G_IO_IN, readable, this);
}

void WebListener::standBack() {
  source = startTimer(PAUSE, paused, this);
}

gboolean WebListener::readable(GSocket*, GIOCondition, gpointer data) {
  auto* self = static_cast<WebListener*>(data);
  for (int i = 0; i < PER_TURN; ++i) {
    if (!self->acceptOne()) {
      break;
    }
  }
  return G_SOURCE_CONTINUE;  // unless the source was replaced meanwhile
}

// False when there is no other at present.
bool WebListener::acceptOne() {
  ErrorSlot error;
  GObjectPtr<GSocket> client(g_socket_accept(socket.get(), nullptr, error.out()));
  if (client) {
    accept(std::move(client));
    return true;
  }
  if (!g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK)) {
    shortage();
    standBack();
  }
  return false;
}

gboolean WebListener::paused(gpointer self) {
  static_cast<WebListener*>(self)->watch();
  return G_SOURCE_REMOVE;
}

}  // namespace device
