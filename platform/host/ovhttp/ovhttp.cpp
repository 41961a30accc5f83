#include "ovhttp.h"

#include <cerrno>

#include <memory>
#include <string>
#include <utility>

#include "base/glib_ptr.h"
#include "ovhttp/http_server.h"

struct OVHttpHandler {
  std::unique_ptr<HttpServer> server;
};

namespace {

std::string socketPath() {
  const char* program = g_get_prgname();
  const GTextPtr name(
      g_path_get_basename(program == nullptr ? program_invocation_short_name : program));
  return std::string(HTTP_SOCKET_FOLDER) + '/' + name.get();
}

}  // namespace

OVHttpHandler* ov_http_handler_new(OVHttpCallback callback, void* userData) {
  std::unique_ptr<HttpServer> server = HttpServer::create(socketPath(), callback, userData);
  return server ? new OVHttpHandler{std::move(server)} : nullptr;
}

void ov_http_handler_free(OVHttpHandler* handler) {
  delete handler;
}
