#include "web_server/web_server.h"

#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "ovhttp/wire.h"
#include "web_server/json_ptr.h"

namespace device {

namespace {

constexpr char kApiPath[] = "/api/sentrelvideo";
constexpr char kRealm[] = "SentrelVideo";
constexpr char kJson[] = "application/json";

struct Header {
  const char* name;
  const char* value;
};

// With every response: the page loads nothing from elsewhere, is shown nowhere else and is never
// an old one.
constexpr std::array<Header, 4> kHeaders = {
    {{"Cache-Control", "no-store"},
     {"Content-Security-Policy",
      "default-src 'self'; img-src 'self' data:; style-src 'self'; frame-ancestors 'none'"},
     {"Referrer-Policy", "no-referrer"},
     {"X-Content-Type-Options", "nosniff"}}};

std::string errorJson(const std::string& message) {
  const JsonPtr json(
      json_pack("{s:{s:s,s:s}}", "error", "code", "HTTP", "message", message.c_str()));
  return toText(json.get());
}

// A response for a connection that is no longer the server's.
std::string rawHead(unsigned status, const char* type) {
  std::string head = "HTTP/1.1 " + std::to_string(status) + ' ' + soup_status_get_phrase(status);
  for (const auto& [name, value] : kHeaders) head += std::string("\r\n") + name + ": " + value;
  return head + "\r\nContent-Type: " + type + "\r\nConnection: close\r\n";
}

void respond(SoupServerMessage* message, unsigned status, const char* type,
             const std::string& body) {
  soup_server_message_set_status(message, status, nullptr);
  soup_server_message_set_response(message, type, SOUP_MEMORY_COPY, body.data(), body.size());
}

void refuse(SoupServerMessage* message, unsigned status, const std::string& reason) {
  respond(message, status, kJson, errorJson(reason));
}

void refuseMethod(SoupServerMessage* message, const char* allowed) {
  soup_message_headers_replace(soup_server_message_get_response_headers(message), "Allow", allowed);
  refuse(message, SOUP_STATUS_METHOD_NOT_ALLOWED,
         std::string("Only ") + allowed + " is possible here");
}

void respond(SoupServerMessage* message, const ApplicationAnswer& answer) {
  soup_server_message_set_status(message, answer.status, nullptr);
  SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
  for (const auto& [name, value] : answer.headers) {
    soup_message_headers_replace(headers, name.c_str(), value.c_str());
  }
  soup_message_body_append(soup_server_message_get_response_body(message), SOUP_MEMORY_COPY,
                           answer.body.data(), answer.body.size());
}

const char* header(SoupServerMessage* message, const char* name) {
  return soup_message_headers_get_list(soup_server_message_get_request_headers(message), name);
}

bool isMethod(SoupServerMessage* message, std::string_view method) {
  return method == soup_server_message_get_method(message);
}

HttpRequest requestOf(SoupServerMessage* message, const std::string& path, GHashTable* fields) {
  HttpRequest request{path, "POST", std::nullopt, {}, ""};
  if (const char* query = g_uri_get_query(soup_server_message_get_uri(message))) {
    request.query = query;
  }
  if (fields != nullptr) {
    GHashTableIter iter;
    g_hash_table_iter_init(&iter, fields);
    gpointer name = nullptr;
    gpointer value = nullptr;
    while (g_hash_table_iter_next(&iter, &name, &value) != FALSE) {
      request.fields.emplace_back(static_cast<const char*>(name), static_cast<const char*>(value));
    }
  }
  const std::unique_ptr<GBytes, decltype(&g_bytes_unref)> body(
      soup_message_body_flatten(soup_server_message_get_request_body(message)), g_bytes_unref);
  gsize size = 0;
  const auto* text = static_cast<const char*>(g_bytes_get_data(body.get(), &size));
  if (size > 0) request.body.assign(text, size);
  return request;
}

}  // namespace

struct WebServer::Handlers {
  static void started(SoupServer*, SoupServerMessage* message, gpointer self) {
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
    for (const auto& [name, value] : kHeaders) soup_message_headers_replace(headers, name, value);
    // The library never notices that a client has ended a connection that waits for its next
    // request: each would stay open for ever.
    soup_message_headers_replace(headers, "Connection", "close");
    g_signal_connect(message, "got-chunk", G_CALLBACK(gotChunk), self);
  }

  static void gotChunk(SoupServerMessage* message, GBytes*, gpointer self) {
    const goffset length = soup_server_message_get_request_body(message)->length;
    if (length > static_cast<goffset>(kMaxBody)) {
      static_cast<WebServer*>(self)->refuseBody(message);
    }
  }

  static void early(SoupServer*, SoupServerMessage* message, const char*, GHashTable*,
                    gpointer self) {
    static_cast<WebServer*>(self)->check(message);
  }

  static void handle(SoupServer*, SoupServerMessage* message, const char* path, GHashTable* fields,
                     gpointer self) {
    static_cast<WebServer*>(self)->handle(message, path, fields);
  }

  static char* passwordOf(SoupAuthDomain*, SoupServerMessage*, const char* name, gpointer data) {
    const auto* self = static_cast<WebServer*>(data);
    if (self->user_->name != name) return nullptr;
    return soup_auth_domain_digest_encode_password(name, kRealm, self->user_->password.c_str());
  }
};

WebServer::WebServer(const WebOptions& options, std::string application,
                     const WebServerLimits& limits)
    : limits_(limits),
      address_(options.address),
      user_(options.user),
      files_(options.folder),
      server_(soup_server_new(nullptr, nullptr)),
      forwarder_(std::move(application), limits.answer) {
  g_signal_connect(server_.get(), "request-started", G_CALLBACK(Handlers::started), this);
  soup_server_add_early_handler(server_.get(), nullptr, Handlers::early, this, nullptr);
  soup_server_add_handler(server_.get(), nullptr, Handlers::handle, this, nullptr);
  if (user_) askForUser();
  listen(options);
  origins_.emplace(address_, port_);
}

WebServer::~WebServer() {
  soup_server_disconnect(server_.get());
}

EventStream& WebServer::addStream(const std::string& path, Opening opening) {
  Stream& stream = streams_[path];
  stream.opening = std::move(opening);
  stream.readers = std::make_unique<EventStream>(limits_.heartbeat, limits_.streamQueue);
  return *stream.readers;
}

std::string WebServer::url() const {
  const bool bracketed = address_.find(':') != std::string::npos;
  return "http://" + (bracketed ? '[' + address_ + ']' : address_) + ':' + std::to_string(port_) +
         '/';
}

void WebServer::listen(const WebOptions& options) {
  const auto tryPort = [&](std::uint16_t port, GError** error) {
    const GObjectPtr<GSocketAddress> address(
        g_inet_socket_address_new_from_string(address_.c_str(), port));
    return address && soup_server_listen(server_.get(), address.get(),
                                         static_cast<SoupServerListenOptions>(0), error) != FALSE;
  };
  ErrorSlot error;
  const bool listens = options.port ? tryPort(*options.port, error.out())
                                    : tryPort(kUsualPort, nullptr) || tryPort(0, error.out());
  if (!listens) {
    throw std::runtime_error("Cannot listen on " + address_ + " port " +
                             std::to_string(options.port.value_or(kUsualPort)) + ": " +
                             error.message());
  }
  const std::unique_ptr<GSList, decltype(&g_slist_free)> sockets(
      soup_server_get_listeners(server_.get()), g_slist_free);
  const GObjectPtr<GSocketAddress> own(
      g_socket_get_local_address(G_SOCKET(sockets->data), nullptr));
  port_ = g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(own.get()));
}

void WebServer::askForUser() {
  const GObjectPtr<SoupAuthDomain> domain(soup_auth_domain_digest_new("realm", kRealm, nullptr));
  soup_auth_domain_digest_set_auth_callback(domain.get(), Handlers::passwordOf, this, nullptr);
  soup_auth_domain_add_path(domain.get(), "/");
  soup_server_add_auth_domain(server_.get(), domain.get());
}

// Before the body is read.
void WebServer::check(SoupServerMessage* message) {
  SoupMessageHeaders* headers = soup_server_message_get_request_headers(message);
  if (!origins_->isAllowed(header(message, "Host"), header(message, "Origin"))) {
    refuse(message, SOUP_STATUS_FORBIDDEN, "The request was made from elsewhere");
  } else if (soup_message_headers_get_encoding(headers) == SOUP_ENCODING_CONTENT_LENGTH &&
             soup_message_headers_get_content_length(headers) > static_cast<goffset>(kMaxBody)) {
    refuseBody(message);
  }
}

void WebServer::handle(SoupServerMessage* message, const std::string& path, GHashTable* fields) {
  if (path == kApiPath) {
    if (!isMethod(message, "POST")) return refuseMethod(message, "POST");
    return forward(message, path, fields);
  }
  if (const auto stream = streams_.find(path); stream != streams_.end()) {
    if (!isMethod(message, "GET")) return refuseMethod(message, "GET");
    return openStream(message, &stream->second);
  }
  if (!isMethod(message, "GET") && !isMethod(message, "HEAD")) {
    return refuseMethod(message, "GET, HEAD");
  }
  sendFile(message, path);
}

void WebServer::forward(SoupServerMessage* message, const std::string& path, GHashTable* fields) {
  auto bytes = encodeHttpRequest(requestOf(message, path, fields));
  if (!bytes)
    return refuse(message, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, "The request is too long");
  soup_server_message_pause(message);
  const std::shared_ptr<SoupServerMessage> held(
      static_cast<SoupServerMessage*>(g_object_ref(message)), GObjectDeleter());
  forwarder_.forward(
      std::move(*bytes), [held](ForwardResult_e result, const ApplicationAnswer* answer) {
        if (result == ForwardResult_e::kAnswered) {
          respond(held.get(), *answer);
        } else {
          refuse(held.get(), SOUP_STATUS_SERVICE_UNAVAILABLE,
                 result == ForwardResult_e::kLate ? "The application did not answer in time"
                                                  : "The application is not running");
        }
        soup_server_message_unpause(held.get());
      });
}

void WebServer::openStream(SoupServerMessage* message, Stream* stream) {
  const GObjectPtr<GSocket> socket(G_SOCKET(g_object_ref(soup_server_message_get_socket(message))));
  GObjectPtr<GIOStream> connection(soup_server_message_steal_connection(message));
  stream->readers->add(std::move(connection), socket.get(),
                       rawHead(SOUP_STATUS_OK, "text/event-stream") + "\r\n" + stream->opening());
}

void WebServer::sendFile(SoupServerMessage* message, const std::string& path) {
  const std::optional<StaticFile> file = files_.read(path);
  if (!file) return refuse(message, SOUP_STATUS_NOT_FOUND, "There is nothing at this path");
  respond(message, SOUP_STATUS_OK, file->type, file->contents);
}

void WebServer::refuseBody(SoupServerMessage* message) {
  const std::string body = errorJson("A request may have 1 MiB");
  const std::string answer = rawHead(SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, kJson) +
                             "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  const GObjectPtr<GSocket> socket(G_SOCKET(g_object_ref(soup_server_message_get_socket(message))));
  GObjectPtr<GIOStream> connection(soup_server_message_steal_connection(message));
  const auto place = refusals_.insert(refusals_.end(), nullptr);
  *place = std::make_unique<LingeringRefusal>(std::move(connection), socket.get(), answer,
                                              [this, place] { refusals_.erase(place); });
}

}  // namespace device
