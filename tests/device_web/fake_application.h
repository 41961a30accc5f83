#ifndef DEVICE_WEB_FAKE_APPLICATION_H
#define DEVICE_WEB_FAKE_APPLICATION_H

#include <gio/gio.h>

#include <memory>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "ovhttp/http_server.h"

namespace device {

// An application that answers requests as one on a device does, on a thread of the library. Writes
// the answer with "$" replaced by the body.
class FakeApplication {
 public:
  explicit FakeApplication(const std::string& path)
      : server(HttpServer::create(path, onRequest, this)) {}

  void setAnswer(std::string newAnswer) {
    const LockGuard lock(mutex);
    answer = std::move(newAnswer);
  }

  std::vector<std::string> getRequests() {
    const LockGuard lock(mutex);
    return requests;
  }

 private:
  static void onRequest(const char* path, const char* method, const char* query,
                        GHashTable* parameters, GOutputStream* out, void* data) {
    auto* self = static_cast<FakeApplication*>(data);
    const LockGuard lock(self->mutex);
    const auto parameter = [&](const char* name) -> std::string {
      const auto* value = static_cast<const char*>(g_hash_table_lookup(parameters, name));
      return value != nullptr ? value : "-";
    };
    self->requests.push_back(std::string(method) + ' ' + path + ' ' +
                             (query != nullptr ? query : "-") + ' ' + parameter("a") + ' ' +
                             parameter(OV_HTTP_BODY));
    std::string text = self->answer;
    if (const std::size_t place = text.find('$'); place != std::string::npos) {
      text.replace(place, 1, parameter(OV_HTTP_BODY));
    }
    g_output_stream_write_all(out, text.data(), text.size(), nullptr, nullptr, nullptr);
  }

  Mutex mutex;
  std::string answer = "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n{\"body\":\"$\"}";
  std::vector<std::string> requests;
  std::unique_ptr<HttpServer> server;  // last, so that its thread finds the rest
};

}  // namespace device

#endif
