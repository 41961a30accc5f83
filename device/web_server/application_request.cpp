#include "web_server/application_request.h"

#include <gio/gunixsocketaddress.h>

#include <utility>

namespace device {

namespace {

constexpr gsize BLOCK = 65536;  // bytes read at once

}  // namespace

struct ApplicationRequest::Exchange : std::enable_shared_from_this<ApplicationRequest::Exchange> {
  std::vector<std::uint8_t> bytes;
  Done done;
  GObjectPtr<GCancellable> cancellable{g_cancellable_new()};
  GObjectPtr<GSocketConnection> connection;
  std::string answer;

  using Reference = std::unique_ptr<std::shared_ptr<Exchange>>;

  // For the user data of an operation, whose callback takes it back.
  gpointer reference() { return new std::shared_ptr<Exchange>(shared_from_this()); }
  static Reference take(gpointer data) {
    return Reference(static_cast<std::shared_ptr<Exchange>*>(data));
  }

  void connect(const std::string& path) {
    const GObjectPtr<GSocketClient> client(g_socket_client_new());
    const GObjectPtr<GSocketAddress> address(g_unix_socket_address_new(path.c_str()));
    g_socket_client_connect_async(client.get(), G_SOCKET_CONNECTABLE(address.get()),
                                  cancellable.get(), connected, reference());
  }

  static void connected(GObject* client, GAsyncResult* result, gpointer data) {
    const Reference self = take(data);
    (*self)->connection.reset(
        g_socket_client_connect_finish(G_SOCKET_CLIENT(client), result, nullptr));
    if (!(*self)->connection) {
      return (*self)->end(false);
    }
    (*self)->write();
  }

  void write() {
    GOutputStream* out = g_io_stream_get_output_stream(G_IO_STREAM(connection.get()));
    g_output_stream_write_all_async(out, bytes.data(), bytes.size(), G_PRIORITY_DEFAULT,
                                    cancellable.get(), written, reference());
  }

  static void written(GObject* out, GAsyncResult* result, gpointer data) {
    const Reference self = take(data);
    const bool whole =
        g_output_stream_write_all_finish(G_OUTPUT_STREAM(out), result, nullptr, nullptr) != FALSE;
    if (!whole) {
      return (*self)->end(false);
    }
    (*self)->read();
  }

  void read() {
    GInputStream* in = g_io_stream_get_input_stream(G_IO_STREAM(connection.get()));
    g_input_stream_read_bytes_async(in, BLOCK, G_PRIORITY_DEFAULT, cancellable.get(), received,
                                    reference());
  }

  static void received(GObject* in, GAsyncResult* result, gpointer data) {
    const Reference self = take(data);
    const GBytesPtr block(g_input_stream_read_bytes_finish(G_INPUT_STREAM(in), result, nullptr));
    if (!block) {
      return (*self)->end(false);
    }
    gsize size = 0;
    const auto* text = static_cast<const char*>(g_bytes_get_data(block.get(), &size));
    if (size == 0) {
      return (*self)->end(!(*self)->answer.empty());
    }
    (*self)->answer.append(text, size);
    if ((*self)->answer.size() > MAX_ANSWER_SIZE) {
      return (*self)->end(false);
    }
    (*self)->read();
  }

  void end(bool answered) {
    const Done tell = std::exchange(done, nullptr);
    if (tell) {
      tell(answered ? &answer : nullptr);
    }
  }
};

ApplicationRequest::ApplicationRequest(const std::string& path, std::vector<std::uint8_t> bytes,
                                       Done done)
    : exchange(std::make_shared<Exchange>()) {
  exchange->bytes = std::move(bytes);
  exchange->done = std::move(done);
  exchange->connect(path);
}

ApplicationRequest::~ApplicationRequest() {
  exchange->done = nullptr;
  g_cancellable_cancel(exchange->cancellable.get());
}

}  // namespace device
