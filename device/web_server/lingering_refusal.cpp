#include "web_server/lingering_refusal.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "services/local_socket.h"

namespace device {

LingeringRefusal::LingeringRefusal(GObjectPtr<GIOStream> stream, GSocket* socket,
                                   const std::string& answer, std::function<void()> gone)
    : stream(std::move(stream)),
      socket(G_SOCKET(g_object_ref(socket))),
      gone(std::move(gone)),
      timer(g_timeout_source_new_seconds(SECONDS)) {
  // A few hundred bytes always find room behind what was sent on this connection before.
  send(g_socket_get_fd(socket), answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  g_socket_shutdown(socket, FALSE, TRUE, nullptr);
  readSource =
      watchSocket(socket, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), readable, this);
  g_source_set_callback(timer.get(), expired, this, nullptr);
  g_source_attach(timer.get(), g_main_context_get_thread_default());
}

gboolean LingeringRefusal::readable(GSocket*, GIOCondition, gpointer data) {
  auto* self = static_cast<LingeringRefusal*>(data);
  if (self->discard()) {
    return G_SOURCE_CONTINUE;
  }
  self->gone();
  return G_SOURCE_REMOVE;
}

gboolean LingeringRefusal::expired(gpointer self) {
  static_cast<LingeringRefusal*>(self)->gone();
  return G_SOURCE_REMOVE;
}

bool LingeringRefusal::discard() {
  std::array<char, 65536> buffer;
  const ssize_t count =
      recv(g_socket_get_fd(socket.get()), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count < 0) {
    return errno == EAGAIN || errno == EINTR;
  }
  discarded += static_cast<std::size_t>(count);
  return count > 0 && discarded <= MAX_DISCARDED;
}

}  // namespace device
