#ifndef DEVICE_BRIDGE_FAKE_CAMERA_H
#define DEVICE_BRIDGE_FAKE_CAMERA_H

#include <libsoup/soup.h>

#include <functional>
#include <string>
#include <vector>

#include "base/glib_ptr.h"
#include "onvif/envelope.h"
#include "onvif/fault.h"
#include "onvif/namespaces.h"
#include "support/main_loop.h"

namespace device::onvif {

// What a camera is told, and what it says.
struct FakeRequest {
  std::string operation;  // name of the body's element
  std::string path;
  std::string authorization;  // the header, empty without
  std::string body;
  std::optional<UserToken> token;
};

struct FakeAnswer {
  unsigned status = 200;
  std::string body;
  std::string challenge{};  // WWW-Authenticate
  std::string date{};       // instead of the server's own
  bool isNever = false;     // keeps the caller waiting
  unsigned delay = 0;       // milliseconds before it goes out
};

// A camera whose answers are the test's, in the test's main loop.
class FakeCamera {
 public:
  using Answer = std::function<FakeAnswer(const FakeRequest& request)>;

  explicit FakeCamera(Answer given)
      : answer(std::move(given)), server(soup_server_new(nullptr, nullptr)) {
    soup_server_add_handler(server.get(), nullptr, handle, this, nullptr);
    soup_server_listen_local(server.get(), 0, SOUP_SERVER_LISTEN_IPV4_ONLY, nullptr);
    GSList* uris = soup_server_get_uris(server.get());
    port = g_uri_get_port(static_cast<GUri*>(uris->data));
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
  }
  FakeCamera(const FakeCamera&) = delete;
  FakeCamera& operator=(const FakeCamera&) = delete;
  ~FakeCamera() { soup_server_disconnect(server.get()); }

  std::string url() const {
    return "http://127.0.0.1:" + std::to_string(port) + "/onvif/device_service";
  }

  std::vector<FakeRequest> requests;

 private:
  static void handle(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*,
                     gpointer data) {
    auto* self = static_cast<FakeCamera*>(data);
    const SoupMessageBody* body = soup_server_message_get_request_body(message);
    const std::string text(body->data, static_cast<std::size_t>(body->length));
    const Envelope envelope = readEnvelope(text);
    const char* header = soup_message_headers_get_one(
        soup_server_message_get_request_headers(message), "Authorization");
    self->requests.push_back({envelope.operation.name().name, path, header != nullptr ? header : "",
                              text, envelope.token});
    const FakeAnswer given = self->answer(self->requests.back());
    if (given.isNever) {
      soup_server_message_pause(message);
    } else if (given.delay > 0) {
      soup_server_message_pause(message);
      g_timeout_add_full(G_PRIORITY_DEFAULT, given.delay, sendLate,
                         new Late{GObjectPtr<SoupServerMessage>(
                                      static_cast<SoupServerMessage*>(g_object_ref(message))),
                                  given},
                         [](gpointer late) { delete static_cast<Late*>(late); });
    } else {
      send(message, given);
    }
  }

  struct Late {
    GObjectPtr<SoupServerMessage> message;
    FakeAnswer answer;
  };

  static gboolean sendLate(gpointer data) {
    const auto* late = static_cast<Late*>(data);
    send(late->message.get(), late->answer);
    soup_server_message_unpause(late->message.get());
    return G_SOURCE_REMOVE;
  }

  static void send(SoupServerMessage* message, const FakeAnswer& given) {
    auto* headers = soup_server_message_get_response_headers(message);
    if (!given.challenge.empty()) {
      soup_message_headers_replace(headers, "WWW-Authenticate", given.challenge.c_str());
    }
    if (!given.date.empty()) {
      soup_message_headers_replace(headers, "Date", given.date.c_str());
    }
    soup_server_message_set_status(message, given.status, nullptr);
    soup_server_message_set_response(message, SOAP_TYPE, SOUP_MEMORY_COPY, given.body.data(),
                                     given.body.size());
  }

  Answer answer;
  GObjectPtr<SoupServer> server;
  int port = 0;
};

inline FakeAnswer answered(const Tag& body) {
  return {.status = 200, .body = writeEnvelope(body)};
}

inline FakeAnswer faulted(const Fault& fault, unsigned status) {
  return {.status = status, .body = writeEnvelope(fault.tag())};
}

// "2026-01-01T12:00:00Z" and later.
inline Tag timeTag(std::int64_t microseconds) {
  const GDateTimePtr time(g_date_time_new_from_unix_utc(microseconds / 1000000));
  return Tag("tds:GetSystemDateAndTimeResponse",
             Tag("tds:SystemDateAndTime",
                 Tag("tt:UTCDateTime",
                     Tag("tt:Time", Tag("tt:Hour", g_date_time_get_hour(time.get())),
                         Tag("tt:Minute", g_date_time_get_minute(time.get())),
                         Tag("tt:Second", g_date_time_get_second(time.get()))),
                     Tag("tt:Date", Tag("tt:Year", g_date_time_get_year(time.get())),
                         Tag("tt:Month", g_date_time_get_month(time.get())),
                         Tag("tt:Day", g_date_time_get_day_of_month(time.get()))))));
}

}  // namespace device::onvif

#endif
