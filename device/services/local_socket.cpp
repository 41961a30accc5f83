#include "services/local_socket.h"

#include <gio/gunixsocketaddress.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace device {

namespace {

constexpr mode_t FOR_EVERY_USER = 0666;

}  // namespace

GObjectPtr<GSocket> bindLocalSocket(const std::string& path, GSocketType type) {
  const auto folder = std::filesystem::path(path).parent_path();
  if (!folder.empty()) {
    std::filesystem::create_directories(folder);
  }
  std::filesystem::remove(path);

  ErrorSlot error;
  const GObjectPtr<GSocketAddress> address(g_unix_socket_address_new(path.c_str()));
  GObjectPtr<GSocket> socket(
      g_socket_new(G_SOCKET_FAMILY_UNIX, type, G_SOCKET_PROTOCOL_DEFAULT, error.out()));
  if (!socket || !g_socket_bind(socket.get(), address.get(), FALSE, error.out())) {
    throw std::runtime_error("Cannot open " + path + ": " + error.message());
  }
  chmod(path.c_str(), FOR_EVERY_USER);
  g_socket_set_blocking(socket.get(), FALSE);
  return socket;
}

GSourcePtr watchSocket(GSocket* socket, GIOCondition condition, GSocketSourceFunc callback,
                       gpointer data) {
  GSourcePtr source(g_socket_create_source(socket, condition, nullptr));
  g_source_set_callback(source.get(), G_SOURCE_FUNC(callback), data, nullptr);
  g_source_attach(source.get(), g_main_context_get_thread_default());
  return source;
}

LocalListener::LocalListener(std::string socketPath, Accept accept)
    : path(std::move(socketPath)),
      accept(std::move(accept)),
      socket(bindLocalSocket(path, G_SOCKET_TYPE_STREAM)) {
  ErrorSlot error;
  if (!g_socket_listen(socket.get(), error.out())) {
    throw std::runtime_error("Cannot listen at " + path + ": " + error.message());
  }
  source = watchSocket(socket.get(), G_IO_IN, readable, this);
}

LocalListener::~LocalListener() {
  unlink(path.c_str());
}

gboolean LocalListener::readable(GSocket* socket, GIOCondition, gpointer self) {
  GObjectPtr<GSocket> client(g_socket_accept(socket, nullptr, nullptr));
  if (!client) {
    return G_SOURCE_CONTINUE;
  }
  g_socket_set_blocking(client.get(), FALSE);
  static_cast<LocalListener*>(self)->accept(std::move(client));
  return G_SOURCE_CONTINUE;
}

}  // namespace device
