#include "ovhttp/http_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "base/glib_ptr.h"
#include "base/local_socket.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int FOREVER = -1;

// True when fd is readable, false when the server is to end or the time has run out.
bool waitFor(int fd, int stop, int timeoutMs) {
  std::array<pollfd, 2> waits{{{fd, POLLIN, 0}, {stop, POLLIN, 0}}};
  int ready = 0;
  do {
    ready = poll(waits.data(), waits.size(), timeoutMs);
  } while (ready < 0 && errno == EINTR);
  return ready > 0 && waits[1].revents == 0;
}

int millisecondsUntil(Clock::time_point deadline) {
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

bool receiveAll(int fd, int stop, Clock::time_point deadline, std::span<std::uint8_t> bytes) {
  while (!bytes.empty()) {
    if (!waitFor(fd, stop, millisecondsUntil(deadline))) {
      return false;
    }
    const ssize_t received = recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (received < 0 && (errno == EINTR || errno == EAGAIN)) {
      continue;
    }
    if (received <= 0) {
      return false;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(received));
  }
  return true;
}

bool makeFolderOf(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  return !error;
}

GHashTablePtr parametersOf(const HttpRequest& request) {
  GHashTablePtr table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
  for (const auto& [name, value] : request.fields) {
    if (name == OV_HTTP_BODY) {
      continue;
    }
    g_hash_table_replace(table.get(), g_strdup(name.c_str()), g_strdup(value.c_str()));
  }
  if (request.method == "POST") {
    g_hash_table_replace(table.get(), g_strdup(OV_HTTP_BODY), g_strdup(request.body.c_str()));
  }
  return table;
}

std::string takeText(GMemoryOutputStream* stream) {
  const auto* data = static_cast<const char*>(g_memory_output_stream_get_data(stream));
  const gsize size = g_memory_output_stream_get_data_size(stream);
  return size == 0 ? std::string() : std::string(data, size);
}

}  // namespace

std::unique_ptr<HttpServer> HttpServer::create(const std::string& path, OVHttpCallback callback,
                                               void* userData,
                                               std::chrono::milliseconds transferTimeout) {
  if (callback == nullptr || !makeFolderOf(path)) {
    return nullptr;
  }
  FileDescriptor stop(eventfd(0, EFD_CLOEXEC));
  if (!stop.isOpen()) {
    return nullptr;
  }
  FileDescriptor listener = local_socket::listenAt(path);
  if (!listener.isOpen()) {
    return nullptr;
  }
  try {
    return std::unique_ptr<HttpServer>(new HttpServer(path, std::move(listener), std::move(stop),
                                                      callback, userData, transferTimeout));
  } catch (const std::system_error&) {  // no thread
    unlink(path.c_str());
    return nullptr;
  }
}

HttpServer::HttpServer(std::string path, FileDescriptor listener, FileDescriptor stop,
                       OVHttpCallback callback, void* userData,
                       std::chrono::milliseconds transferTimeout)
    : path(std::move(path)),
      listener(std::move(listener)),
      stop(std::move(stop)),
      callback(callback),
      userData(userData),
      transferTimeout(transferTimeout),
      thread(&HttpServer::run, this) {}

HttpServer::~HttpServer() {
  eventfd_write(stop.get(), 1);
  thread.join();
  unlink(path.c_str());
}

void HttpServer::run() {
  while (waitFor(listener.get(), stop.get(), FOREVER)) {
    const FileDescriptor client(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (client.isOpen()) {
      serve(client);
    }
  }
}

void HttpServer::serve(const FileDescriptor& client) const {
  const std::optional<HttpRequest> request = receiveRequest(client.get());
  if (!request) {
    return;
  }
  const std::string text = answer(*request);
  if (!local_socket::setTimeout(client.get(), transferTimeout)) {
    return;
  }
  local_socket::sendAll(client.get(),
                        {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

std::optional<HttpRequest> HttpServer::receiveRequest(int client) const {
  const Clock::time_point deadline = Clock::now() + transferTimeout;
  std::array<std::uint8_t, HTTP_LENGTH_SIZE> head{};
  if (!receiveAll(client, stop.get(), deadline, head)) {
    return std::nullopt;
  }
  const std::size_t length = httpRequestLength(head);
  if (length > MAX_HTTP_REQUEST_SIZE) {
    return std::nullopt;
  }
  std::vector<std::uint8_t> bytes(length);
  if (!receiveAll(client, stop.get(), deadline, bytes)) {
    return std::nullopt;
  }
  std::optional<HttpRequest> request = decodeHttpRequest(bytes);
  const bool isKnownMethod = request && (request->method == "GET" || request->method == "POST");
  return isKnownMethod ? std::move(request) : std::nullopt;
}

// The answer is collected first, so that a web server that does not read holds up nobody who writes
// one.
std::string HttpServer::answer(const HttpRequest& request) const {
  const GObjectPtr<GOutputStream> out(g_memory_output_stream_new_resizable());
  const GHashTablePtr parameters = parametersOf(request);
  callback(request.path.c_str(), request.method.c_str(),
           request.query ? request.query->c_str() : nullptr, parameters.get(), out.get(), userData);
  return takeText(G_MEMORY_OUTPUT_STREAM(out.get()));
}
