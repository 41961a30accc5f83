#ifndef DEVICE_WEB_WEB_CLIENT_H
#define DEVICE_WEB_WEB_CLIENT_H

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "device_services/private_bus.h"
#include "services/local_socket.h"

namespace device {

struct WebResponse {
  int status = 0;
  std::map<std::string, std::string> headers;
  std::string body;
};

// One connection to a web server that lives in the same thread.
class WebClient {
 public:
  // source: a loopback address, from which it comes.
  explicit WebClient(std::uint16_t port, int receiveBuffer = 0, const char* source = "127.0.0.1")
      : socket(g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP,
                            nullptr)),
        host("127.0.0.1:" + std::to_string(port)) {
    if (receiveBuffer > 0) {
      setsockopt(g_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVBUF, &receiveBuffer,
                 sizeof(receiveBuffer));
    }
    const GObjectPtr<GSocketAddress> own(g_inet_socket_address_new_from_string(source, 0));
    EXPECT_TRUE(g_socket_bind(socket.get(), own.get(), FALSE, nullptr));
    const GObjectPtr<GSocketAddress> address(
        g_inet_socket_address_new_from_string("127.0.0.1", port));
    EXPECT_TRUE(g_socket_connect(socket.get(), address.get(), nullptr, nullptr));
    read();
  }
  WebClient(const WebClient&) = delete;
  WebClient& operator=(const WebClient&) = delete;

  void send(std::string_view text) {
    while (!text.empty()) {
      const ssize_t count = ::send(g_socket_get_fd(socket.get()), text.data(), text.size(),
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
      if (count > 0) {
        text.remove_prefix(static_cast<std::size_t>(count));
      } else if (count < 0 && errno == EAGAIN) {
        g_main_context_iteration(nullptr, FALSE);
      } else {
        return;  // the server has gone; what it said is still to be read
      }
    }
  }

  // Sends a request; headers are whole lines.
  void request(const std::string& method, const std::string& path, const std::string& body = "",
               const std::string& headers = "") {
    std::string text = method + ' ' + path + " HTTP/1.1\r\n" + headers;
    if (headers.find("Host:") == std::string::npos) {
      text += "Host: " + host + "\r\n";
    }
    if (!body.empty()) {
      text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    send(text + "\r\n" + body);
  }

  // The head and, for a response that tells its length, the body.
  WebResponse response() {
    WebResponse response;
    const std::size_t end = find("\r\n\r\n");
    if (end == std::string::npos) {
      return response;
    }
    readHead(received.substr(0, end + 2), &response);
    received.erase(0, end + 4);
    const auto length = response.headers.find("Content-Length");
    if (length != response.headers.end()) {
      response.body = take(std::strtoul(length->second.c_str(), nullptr, 10));
    }
    return response;
  }

  WebResponse get(const std::string& path, const std::string& headers = "") {
    request("GET", path, "", headers);
    return response();
  }

  WebResponse post(const std::string& body, const std::string& path = "/api/sentrelvideo") {
    request("POST", path, body);
    return response();
  }

  // A whole message of a stream: its lines without the empty one at the end.
  std::string message() {
    const std::size_t end = find("\n\n");
    if (end == std::string::npos) {
      return "";
    }
    const std::string text = received.substr(0, end);
    received.erase(0, end + 2);
    return text;
  }

  bool hasReceived(std::string_view text) {
    return iterateUntil([&] { return received.find(text) != std::string::npos || closed; }) &&
           received.find(text) != std::string::npos;
  }

  bool isClosed() {
    return iterateUntil([&] { return closed; });
  }

  void stopReading() { source.reset(); }
  void read() {
    g_socket_set_blocking(socket.get(), FALSE);
    source = watchSocket(socket.get(), static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
                         readable, this);
  }
  const std::string& getReceived() const { return received; }

 private:
  static gboolean readable(GSocket* socket, GIOCondition, gpointer data) {
    auto* self = static_cast<WebClient*>(data);
    std::array<char, 65536> buffer;
    const ssize_t count = recv(g_socket_get_fd(socket), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count > 0) {
      self->received.append(buffer.data(), static_cast<std::size_t>(count));
    }
    self->closed = count == 0 || (count < 0 && errno != EAGAIN);
    return self->closed ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
  }

  std::size_t find(std::string_view text) {
    iterateUntil([&] { return received.find(text) != std::string::npos || closed; });
    return received.find(text);
  }

  std::string take(std::size_t count) {
    iterateUntil([&] { return received.size() >= count || closed; });
    const std::string text = received.substr(0, count);
    received.erase(0, count);
    return text;
  }

  static void readHead(std::string_view head, WebResponse* response) {
    bool first = true;
    while (!head.empty()) {
      const std::size_t end = head.find("\r\n");
      const std::string line(head.substr(0, end));
      head.remove_prefix(end + 2);
      if (first) {
        response->status = std::atoi(line.substr(line.find(' ') + 1).c_str());
      } else {
        const std::size_t colon = line.find(": ");
        response->headers[line.substr(0, colon)] = line.substr(colon + 2);
      }
      first = false;
    }
  }

  GObjectPtr<GSocket> socket;
  std::string host;
  std::string received;
  bool closed = false;
  GSourcePtr source;
};

}  // namespace device

#endif
