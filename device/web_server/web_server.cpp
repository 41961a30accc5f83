#include "web_server/web_server.h"

#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/units.h"
#include "ovhttp/wire.h"
#include "web_server/json_values.h"

namespace device {

namespace {

constexpr char API_PATH[] = "/api/sentrelvideo";
constexpr char JSON[] = "application/json";

struct Header {
  const char* name;
  const char* value;
};

// With every response: the page loads nothing from elsewhere, is shown nowhere else and is never
// an old one. The library never notices that a client has ended a connection that waits for its
// next request: each would stay open until its time is over.
constexpr std::array<Header, 5> HEADERS = {
    {{"Cache-Control", "no-store"},
     {"Content-Security-Policy",
      "default-src 'self'; img-src 'self' data:; style-src 'self'; frame-ancestors 'none'"},
     {"Connection", "close"},
     {"Referrer-Policy", "no-referrer"},
     {"X-Content-Type-Options", "nosniff"}}};

std::string errorJson(const std::string& message) {
  const JsonAutoPtr json(
      json_pack("{s:{s:s,s:s}}", "error", "code", "HTTP", "message", message.c_str()));
  return lineOf(json.get());
}

// A response for a connection that is no longer the server's.
std::string rawHead(unsigned status, const char* type) {
  std::string head = "HTTP/1.1 " + std::to_string(status) + ' ' + soup_status_get_phrase(status);
  for (const auto& [name, value] : HEADERS) {
    head += std::string("\r\n") + name + ": " + value;
  }
  return head + "\r\nContent-Type: " + type + "\r\n";
}

void setHeaders(SoupServerMessage* message) {
  SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
  for (const auto& [name, value] : HEADERS) {
    soup_message_headers_replace(headers, name, value);
  }
}

// Where the headers are set: those of an interim response are dropped with it.
void beginResponse(SoupServerMessage* message, unsigned status) {
  setHeaders(message);
  soup_server_message_set_status(message, status, nullptr);
}

void respond(SoupServerMessage* message, unsigned status, const char* type,
             const std::string& body) {
  beginResponse(message, status);
  soup_server_message_set_response(message, type, SOUP_MEMORY_COPY, body.data(), body.size());
}

void refuse(SoupServerMessage* message, unsigned status, const std::string& reason) {
  respond(message, status, JSON, errorJson(reason));
}

void refuseMethod(SoupServerMessage* message, const char* allowed) {
  soup_message_headers_replace(soup_server_message_get_response_headers(message), "Allow", allowed);
  refuse(message, SOUP_STATUS_METHOD_NOT_ALLOWED,
         std::string("Only ") + allowed + " is possible here");
}

void respond(SoupServerMessage* message, const ApplicationAnswer& answer) {
  beginResponse(message, answer.status);
  SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
  for (const auto& [name, value] : answer.headers) {
    soup_message_headers_replace(headers, name.c_str(), value.c_str());
  }
  soup_message_body_append(soup_server_message_get_response_body(message), SOUP_MEMORY_COPY,
                           answer.body.data(), answer.body.size());
}

// Takes as long for any text of the same length.
bool isSecret(const std::string& given, const std::string& secret) {
  unsigned difference = given.size() == secret.size() ? 0 : 1;
  for (std::size_t i = 0; i < given.size(); ++i) {
    difference |= static_cast<unsigned char>(given[i] ^ secret[i % secret.size()]);
  }
  return difference == 0;
}

bool isMethod(SoupServerMessage* message, std::string_view method) {
  return method == soup_server_message_get_method(message);
}

std::string queryOf(SoupServerMessage* message) {
  const char* query = g_uri_get_query(soup_server_message_get_uri(message));
  return query != nullptr ? query : "";
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
  request.body = bodyOf(message);
  return request;
}

}  // namespace

WebServer::WebServer(const WebOptions& options, std::string application,
                     const WebServerLimits& limits)
    : limits(limits),
      address(options.address),
      hasApplication(!application.empty()),
      files(options.folder),
      metricsToken(options.metricsToken),
      connections(limits.connections),
      calls{.begin = setHeaders,
            .check = [this](SoupServerMessage* message) { check(message); },
            .mostBody = MAX_BODY,
            .refuse = [this](SoupServerMessage* message) { refuseBody(message); },
            .handle = [this](SoupServerMessage* message, const char* path,
                             GHashTable* fields) { handle(message, path, fields); }},
      server(soup_server_new(nullptr, nullptr)),
      forwarder(std::move(application), limits.answer) {
  connectCalls(server.get(), calls);
  if (options.user) {
    login.emplace(*options.user, limits.nonce);
  }
  listen(options);
  origins.emplace(address, port());
}

WebServer::~WebServer() {
  soup_server_disconnect(server.get());
}

EventStream& WebServer::addStream(const std::string& path, Opening opening) {
  Stream& stream = streams[path];
  stream.opening = std::move(opening);
  stream.readers = std::make_unique<EventStream>(limits.heartbeat, limits.streamQueue);
  return *stream.readers;
}

void WebServer::addPage(const std::string& path, PageMaker maker) {
  pages[path] = std::move(maker);
}

void WebServer::addAnswer(const std::string& path, Answerer answerer) {
  answerers[path] = std::move(answerer);
}

void WebServer::addQuestion(const std::string& path, Asked asked) {
  questions[path] = std::move(asked);
}

std::string WebServer::url() const {
  const bool bracketed = address.find(':') != std::string::npos;
  return "http://" + (bracketed ? '[' + address + ']' : address) + ':' + std::to_string(port()) +
         '/';
}

std::string WebServer::urlElsewhere() const {
  return isEveryAddress(address) ? "" : url();
}

void WebServer::listen(const WebOptions& options) {
  const auto at = [&](std::uint16_t port) {
    return std::make_unique<WebListener>(
        address, port,
        [this](GObjectPtr<GSocket> socket) {
          acceptClient(server.get(), &connections, std::move(socket));
        },
        [this] { connections.makeRoom(); });
  };
  if (options.port) {
    listener = at(*options.port);
    return;
  }
  try {
    listener = at(USUAL_PORT);
  } catch (const std::runtime_error&) {
    listener = at(0);
  }
}

// Before the body is read, and before anything else: a page from elsewhere is not even told that a
// user is asked for.
void WebServer::check(SoupServerMessage* message) {
  connections.enter(soup_server_message_get_remote_address(message), ConnectionStep_e::body);
  if (!origins->isAllowed(headerOf(message, "Host"), headerOf(message, "Origin"))) {
    return refuse(message, SOUP_STATUS_FORBIDDEN, "The request was made from elsewhere");
  }
  if (announcesMoreThan(message, MAX_BODY)) {
    return refuseBody(message);
  }
  if (isMetricsReader(message)) {
    return;
  }
  if (!login) {
    return;
  }
  if (const auto challenge = login->challengeFor(message)) {
    askForUser(message, *challenge);
  }
}

// Who reads the metrics from afar knows no digests.
bool WebServer::isMetricsReader(SoupServerMessage* message) const {
  const char* given = headerOf(message, "Authorization");
  const std::string path = g_uri_get_path(soup_server_message_get_uri(message));
  return metricsToken && path == METRICS_PATH && given != nullptr &&
         isSecret(given, "Bearer " + *metricsToken);
}

void WebServer::askForUser(SoupServerMessage* message, const std::string& challenge) {
  refuse(message, SOUP_STATUS_UNAUTHORIZED, "A user is asked for");
  soup_message_headers_replace(soup_server_message_get_response_headers(message),
                               "WWW-Authenticate", challenge.c_str());
}

void WebServer::handle(SoupServerMessage* message, const std::string& path, GHashTable* fields) {
  connections.enter(soup_server_message_get_remote_address(message), ConnectionStep_e::answer);
  if (hasApplication && path == API_PATH) {
    if (!isMethod(message, "POST")) {
      return refuseMethod(message, "POST");
    }
    return forward(message, path, fields);
  }
  if (const auto answerer = answerers.find(path); answerer != answerers.end()) {
    if (!isMethod(message, "POST")) {
      return refuseMethod(message, "POST");
    }
    const WebAnswer answer = answerer->second(bodyOf(message));
    return respond(message, answer.status, JSON, answer.body);
  }
  if (const auto stream = streams.find(path); stream != streams.end()) {
    if (!isMethod(message, "GET")) {
      return refuseMethod(message, "GET");
    }
    return openStream(message, &stream->second);
  }
  if (!isMethod(message, "GET") && !isMethod(message, "HEAD")) {
    return refuseMethod(message, "GET, HEAD");
  }
  if (const auto maker = pages.find(path); maker != pages.end()) {
    const Page page = maker->second(headerOf(message, "Accept"));
    return respond(message, SOUP_STATUS_OK, page.type, page.body);
  }
  if (const auto asked = questions.find(path); asked != questions.end()) {
    return ask(message, asked->second);
  }
  sendFile(message, path);
}

void WebServer::ask(SoupServerMessage* message, const Asked& asked) {
  soup_server_message_pause(message);
  const std::shared_ptr<SoupServerMessage> held(
      static_cast<SoupServerMessage*>(g_object_ref(message)), g_object_unref);
  asked(queryOf(message), [held](const WebAnswer& answer) {
    respond(held.get(), answer.status, JSON, answer.body);
    soup_server_message_unpause(held.get());
  });
}

void WebServer::forward(SoupServerMessage* message, const std::string& path, GHashTable* fields) {
  const HttpRequest request = requestOf(message, path, fields);
  auto bytes = encodeHttpRequest(request);
  if (!bytes) {
    return refuse(message, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, "The request is too long");
  }
  soup_server_message_pause(message);
  const std::shared_ptr<SoupServerMessage> held(
      static_cast<SoupServerMessage*>(g_object_ref(message)), g_object_unref);
  forwarder.forward(
      std::move(*bytes), [this, held, body = request.body, begun = g_get_monotonic_time()](
                             ForwardResult_e result, const ApplicationAnswer* answer) {
        if (result == ForwardResult_e::answered) {
          respond(held.get(), *answer);
          if (observer) {
            observer(body);
          }
        } else {
          refuse(held.get(), SOUP_STATUS_SERVICE_UNAVAILABLE,
                 result == ForwardResult_e::late ? "The application did not answer in time"
                                                 : "The application is not running");
        }
        if (answerObserver) {
          answerObserver({.request = body,
                          .status = soup_server_message_get_status(held.get()),
                          .answer = result == ForwardResult_e::answered ? &answer->body : nullptr,
                          .seconds = units::toSeconds(g_get_monotonic_time() - begun)});
        }
        soup_server_message_unpause(held.get());
      });
}

void WebServer::ask(const std::string& body, std::function<void(const std::string* answer)> done) {
  const auto bytes = encodeHttpRequest(
      {.path = API_PATH, .method = "POST", .query = {}, .fields = {}, .body = body});
  if (!bytes) {
    return done(nullptr);
  }
  forwarder.forward(
      *bytes, [done = std::move(done)](ForwardResult_e result, const ApplicationAnswer* answer) {
        done(result == ForwardResult_e::answered ? &answer->body : nullptr);
      });
}

void WebServer::openStream(SoupServerMessage* message, Stream* stream) {
  if (!connections.hasRoomForStream()) {
    return refuse(message, SOUP_STATUS_SERVICE_UNAVAILABLE, "Too many streams are read already");
  }
  connections.enter(soup_server_message_get_remote_address(message), ConnectionStep_e::stream);
  const auto socket = connections.socketOf(soup_server_message_get_remote_address(message));
  GObjectPtr<GIOStream> connection(soup_server_message_steal_connection(message));
  stream->readers->add(std::move(connection), socket.get(),
                       rawHead(SOUP_STATUS_OK, "text/event-stream") + "\r\n" + stream->opening());
}

void WebServer::sendFile(SoupServerMessage* message, const std::string& path) {
  const std::optional<StaticFile> file = files.read(path);
  if (!file) {
    return refuse(message, SOUP_STATUS_NOT_FOUND, "There is nothing at this path");
  }
  respond(message, SOUP_STATUS_OK, file->type, file->contents);
}

void WebServer::refuseBody(SoupServerMessage* message) {
  const std::string body = errorJson("A request may have 1 MiB");
  const std::string answer = rawHead(SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, JSON) +
                             "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  const auto socket = connections.socketOf(soup_server_message_get_remote_address(message));
  GObjectPtr<GIOStream> connection(soup_server_message_steal_connection(message));
  const auto place = refusals.insert(refusals.end(), nullptr);
  *place = std::make_unique<LingeringRefusal>(std::move(connection), socket.get(), answer,
                                              [this, place] { refusals.erase(place); });
}

}  // namespace device
