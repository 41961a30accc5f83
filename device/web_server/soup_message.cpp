#include "web_server/soup_message.h"

#include <netinet/in.h>
#include <netinet/tcp.h>

namespace device {
namespace {

const SoupCalls& callsOf(gpointer data) {
  return *static_cast<const SoupCalls*>(data);
}

void gotChunk(SoupServerMessage* message, GBytes*, gpointer calls) {
  const goffset length = soup_server_message_get_request_body(message)->length;
  if (length > static_cast<goffset>(callsOf(calls).mostBody)) {
    callsOf(calls).refuse(message);
  }
}

void started(SoupServer*, SoupServerMessage* message, gpointer calls) {
  callsOf(calls).begin(message);
  g_signal_connect(message, "got-chunk", G_CALLBACK(gotChunk), calls);
}

void early(SoupServer*, SoupServerMessage* message, const char*, GHashTable*, gpointer calls) {
  callsOf(calls).check(message);
}

void handle(SoupServer*, SoupServerMessage* message, const char* path, GHashTable* fields,
            gpointer calls) {
  callsOf(calls).handle(message, path, fields);
}

}  // namespace

void acceptClient(SoupServer* server, WebConnections* connections, GObjectPtr<GSocket> client) {
  const GObjectPtr<GSocketAddress> remote(g_socket_get_remote_address(client.get(), nullptr));
  if (!remote) {
    return;  // it has gone already
  }
  const GObjectPtr<GSocketAddress> local(g_socket_get_local_address(client.get(), nullptr));
  g_socket_set_option(client.get(), IPPROTO_TCP, TCP_NODELAY, TRUE, nullptr);
  const GObjectPtr<GSocketConnection> connection(
      g_socket_connection_factory_create_connection(client.get()));
  if (connections->add(connection.get(), remote.get())) {
    soup_server_accept_iostream(server, G_IO_STREAM(connection.get()), local.get(), remote.get(),
                                nullptr);
  }
}

const char* headerOf(SoupServerMessage* message, const char* name) {
  return soup_message_headers_get_list(soup_server_message_get_request_headers(message), name);
}

std::string bodyOf(SoupServerMessage* message) {
  const GBytesPtr body(soup_message_body_flatten(soup_server_message_get_request_body(message)));
  gsize size = 0;
  const auto* text = static_cast<const char*>(g_bytes_get_data(body.get(), &size));
  return size > 0 ? std::string(text, size) : "";
}

bool announcesMoreThan(SoupServerMessage* message, std::size_t bytes) {
  SoupMessageHeaders* headers = soup_server_message_get_request_headers(message);
  return soup_message_headers_get_encoding(headers) == SOUP_ENCODING_CONTENT_LENGTH &&
         soup_message_headers_get_content_length(headers) > static_cast<goffset>(bytes);
}

void connectCalls(SoupServer* server, const SoupCalls& calls) {
  auto* const data = const_cast<SoupCalls*>(&calls);
  g_signal_connect(server, "request-started", G_CALLBACK(started), data);
  soup_server_add_early_handler(server, nullptr, early, data, nullptr);
  soup_server_add_handler(server, nullptr, handle, data, nullptr);
}

}  // namespace device
