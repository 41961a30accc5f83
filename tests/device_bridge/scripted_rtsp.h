#ifndef DEVICE_BRIDGE_SCRIPTED_RTSP_H
#define DEVICE_BRIDGE_SCRIPTED_RTSP_H

#include <gio/gio.h>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "base/glib_ptr.h"

namespace device::onvif {

// A camera's RTSP that sends one metadata document after another within the connection, and closes
// it by itself when it has lived for so long. In the test's main loop.
class ScriptedRtsp {
 public:
  ScriptedRtsp() : service(g_socket_service_new()) {
    port = g_socket_listener_add_any_inet_port(G_SOCKET_LISTENER(service.get()), nullptr, nullptr);
    g_signal_connect(service.get(), "incoming", G_CALLBACK(incoming), this);
    g_socket_service_start(service.get());
  }
  ScriptedRtsp(const ScriptedRtsp&) = delete;
  ScriptedRtsp& operator=(const ScriptedRtsp&) = delete;
  ~ScriptedRtsp() {
    g_socket_service_stop(service.get());
    g_socket_listener_close(G_SOCKET_LISTENER(service.get()));
  }

  std::string uri() const { return "rtsp://127.0.0.1:" + std::to_string(port) + "/metadata"; }

  std::string document;
  std::int64_t life = 0;        // microseconds from PLAY on, and a document at least; 0: for ever
  bool isSilent = false;        // plays, and sends nothing
  bool isDead = false;          // answers nothing any more
  bool knowsParameters = true;  // GET_PARAMETER
  int questions = 0;            // whether it lives
  int played = 0;               // connections
  std::string challenge;        // header lines for who does not log in
  std::string loggedIn;         // the header line of who does

 private:
  static constexpr guint PERIOD = 50;  // milliseconds from document to document
  static constexpr char PLAIN = '\x6B';
  static constexpr char LAST = '\x80';  // marker

  struct Client {
    ScriptedRtsp* owner = nullptr;
    GObjectPtr<GSocketConnection> connection;
    std::array<char, 4096> part{};
    std::string heard{};
    GSourcePtr reader{};
    GSourcePtr sender{};
    std::int64_t begun = 0;
    std::uint16_t sequence = 0;
  };

  static gboolean incoming(GSocketService*, GSocketConnection* connection, GObject*,
                           gpointer data) {
    auto* self = static_cast<ScriptedRtsp*>(data);
    auto client = std::make_unique<Client>();
    client->owner = self;
    client->connection.reset(static_cast<GSocketConnection*>(g_object_ref(connection)));
    GSocket* socket = g_socket_connection_get_socket(connection);
    g_socket_set_blocking(socket, FALSE);
    client->reader.reset(g_socket_create_source(socket, G_IO_IN, nullptr));
    g_source_set_callback(client->reader.get(), G_SOURCE_FUNC(readable), client.get(), nullptr);
    g_source_attach(client->reader.get(), nullptr);
    self->clients[client.get()] = std::move(client);
    return TRUE;
  }

  static gboolean readable(GSocket* socket, GIOCondition, gpointer data) {
    auto* client = static_cast<Client*>(data);
    const gssize count =
        g_socket_receive(socket, client->part.data(), client->part.size(), nullptr, nullptr);
    if (count <= 0) {
      client->owner->clients.erase(client);
      return G_SOURCE_REMOVE;
    }
    client->heard.append(client->part.data(), static_cast<std::size_t>(count));
    for (std::size_t end = client->heard.find("\r\n\r\n"); end != std::string::npos;
         end = client->heard.find("\r\n\r\n")) {
      const std::string request = client->heard.substr(0, end);
      client->heard.erase(0, end + 4);
      client->owner->answer(client, request);
    }
    return G_SOURCE_CONTINUE;
  }

  void answer(Client* client, const std::string& request) {
    const std::string method = request.substr(0, request.find(' '));
    if (isDead) {
      return;
    }
    // After the body of the one before it, which nobody reads.
    questions += request.find("GET_PARAMETER rtsp:") != std::string::npos ? 1 : 0;
    const std::string field = "CSeq: ";
    const std::size_t number = request.find(field) + field.size();
    std::string reply = "RTSP/1.0 200 OK\r\nCSeq: ";
    reply += request.substr(number, request.find('\r', number) - number);
    std::string body;
    const std::size_t login = request.find("Authorization: ");
    if (login != std::string::npos) {
      loggedIn = request.substr(login, request.find('\r', login) - login);
    } else if (!challenge.empty()) {
      reply.replace(reply.find("200 OK"), 6, "401 Unauthorized");
      return send(client, reply + "\r\n" + challenge + "\r\n\r\n");
    }
    if (method == "OPTIONS") {
      reply += "\r\nPublic: OPTIONS, DESCRIBE, SETUP, PLAY, TEARDOWN";
      reply += knowsParameters ? ", GET_PARAMETER" : "";
    } else if (method == "DESCRIBE") {
      body =
          "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\nt=0 0\r\nm=application 0 RTP/AVP 107\r\n"
          "c=IN IP4 0.0.0.0\r\na=rtpmap:107 vnd.onvif.metadata/90000\r\na=control:" +
          uri() + "/m\r\n";
      reply += "\r\nContent-Type: application/sdp\r\nContent-Length: ";
      reply += std::to_string(body.size());
    } else if (method == "SETUP") {
      reply += "\r\nSession: 1\r\nTransport: RTP/AVP/TCP;unicast;interleaved=0-1";
    } else {
      reply += "\r\nSession: 1";
    }
    send(client, reply + "\r\n\r\n" + body);
    if (method == "PLAY") {
      ++played;
      client->begun = g_get_monotonic_time();
      client->sender = startTimer(PERIOD, documentDue, client);
    }
  }

  static gboolean documentDue(gpointer data) {
    auto* client = static_cast<Client*>(data);
    ScriptedRtsp* self = client->owner;
    const bool hasTold = client->sequence > 0 || self->isSilent;
    if (self->life > 0 && hasTold && g_get_monotonic_time() - client->begun >= self->life) {
      g_io_stream_close(G_IO_STREAM(client->connection.get()), nullptr, nullptr);
      self->clients.erase(client);
      return G_SOURCE_REMOVE;
    }
    if (!self->isSilent) {
      sendDocument(client);
    }
    return G_SOURCE_CONTINUE;
  }

  static void sendDocument(Client* client) {
    const std::uint16_t number = client->sequence++;
    const auto bytesOf = [](std::size_t value) {
      return std::string{static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
    };
    const std::string packet = std::string{'\x80', static_cast<char>(PLAIN | LAST)} +
                               bytesOf(number) + std::string(4, '\0') + "ssrc" +
                               client->owner->document;
    send(client, std::string{'$', '\0'} + bytesOf(packet.size()) + packet);
  }

  static void send(Client* client, const std::string& bytes) {
    g_socket_send(g_socket_connection_get_socket(client->connection.get()), bytes.data(),
                  bytes.size(), nullptr, nullptr);
  }

  GObjectPtr<GSocketService> service;
  guint16 port = 0;
  std::map<Client*, std::unique_ptr<Client>> clients;
};

}  // namespace device::onvif

#endif
