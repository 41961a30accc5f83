#include "onvif_server/soap_server.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "onvif/envelope.h"
#include "onvif/fault.h"
#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

constexpr std::string_view ROOT = "/onvif/";
constexpr std::chrono::minutes NONCE_LIFETIME(5);

void setHeader(SoupServerMessage* message, const char* name, const char* value) {
  soup_message_headers_replace(soup_server_message_get_response_headers(message), name, value);
}

// One request, one connection: the library would keep one that its client has ended.
void setHeaders(SoupServerMessage* message) {
  setHeader(message, "Cache-Control", "no-store");
  setHeader(message, "Connection", "close");
  setHeader(message, "X-Content-Type-Options", "nosniff");
}

void refuse(SoupServerMessage* message, unsigned status) {
  setHeaders(message);
  soup_server_message_set_status(message, status, nullptr);
  soup_message_headers_set_content_length(soup_server_message_get_response_headers(message), 0);
}

void respond(SoupServerMessage* message, unsigned status, const std::string& text) {
  setHeaders(message);
  soup_server_message_set_status(message, status, nullptr);
  soup_server_message_set_response(message, SOAP_TYPE, SOUP_MEMORY_COPY, text.data(), text.size());
}

void respond(SoupServerMessage* message, const Fault& fault) {
  respond(message, fault.httpStatus(), writeEnvelope(fault.tag()));
}

std::vector<Tag> addressingHeaders(const std::string& action, const std::string& messageId) {
  if (action.empty()) {
    return {};
  }
  std::vector<Tag> headers = {Tag("wsa:Action", action)};
  if (!messageId.empty()) {
    headers.push_back(Tag("wsa:RelatesTo", messageId));
  }
  return headers;
}

// Watches an answer until all of it is written, or its connection has ended. Lives with the
// message's signals.
class Delivery {
 public:
  static void watch(SoupServerMessage* message, std::size_t size, Operations::Sent sent) {
    auto* delivery = new Delivery(size, std::move(sent));  // goes with the signal "finished"
    g_signal_connect(message, "wrote-body-data", G_CALLBACK(wrote), delivery);
    g_signal_connect_data(message, "finished", G_CALLBACK(finished), delivery, drop, {});
  }

 private:
  Delivery(std::size_t size, Operations::Sent sent) : left(size), sent(std::move(sent)) {}

  static void wrote(SoupServerMessage*, guint size, gpointer data) {
    auto* delivery = static_cast<Delivery*>(data);
    delivery->left -= std::min<std::size_t>(size, delivery->left);
    if (delivery->left == 0) {
      delivery->tell(true);
    }
  }
  static void finished(SoupServerMessage*, gpointer data) {
    static_cast<Delivery*>(data)->tell(false);
  }
  static void drop(gpointer data, GClosure*) { delete static_cast<Delivery*>(data); }

  void tell(bool isSent) {
    if (const auto told = std::exchange(sent, nullptr)) {
      told(isSent);
    }
  }

  std::size_t left;  // bytes
  Operations::Sent sent;
};

// In the place of one that there is not.
const Operations::Operation& notOffered() {
  static const Operations::Operation OPERATION{
      Access::user,
      [](const Request& request, const Operations::Answer&) {
        throw Fault(FaultCode::receiver, {"ter:ActionNotSupported"},
                    "There is no operation " + request.body.name().name);
      },
      ""};
  return OPERATION;
}

}  // namespace

SoapServer::SoapServer(const OnvifOptions& options, const Operations& operations,
                       const ConnectionLimits& limits, SoapManners given)
    : address(options.address),
      operations(operations),
      manners(std::move(given)),
      connections(limits),
      calls{.begin = setHeaders,
            .check = [this](SoupServerMessage* message) { check(message); },
            .mostBody = MOST_BODY,
            .refuse = [this](SoupServerMessage* message) { refuseBody(message); },
            .handle = [this](SoupServerMessage* message, const char* path,
                             GHashTable*) { handle(message, path); }},
      server(soup_server_new(nullptr, nullptr)) {
  connectCalls(server.get(), calls);
  if (options.user) {
    login.emplace(*options.user, NONCE_LIFETIME);
    tokens.emplace(options.user->name, options.user->password, manners.clock);
  }
  listener = std::make_unique<WebListener>(
      address, options.port,
      [this](GObjectPtr<GSocket> socket) {
        acceptClient(server.get(), &connections, std::move(socket));
      },
      [this] { connections.makeRoom(); });
  origins.emplace(address, port());
}

SoapServer::~SoapServer() {
  soup_server_disconnect(server.get());
}

// Before the body is read.
void SoapServer::check(SoupServerMessage* message) {
  connections.enter(soup_server_message_get_remote_address(message), ConnectionStep_e::body);
  if (!manners.isThere()) {
    return leave(message);
  }
  if (!origins->isAllowed(hostOf(message).c_str(), headerOf(message, "Origin"))) {
    return refuse(message, SOUP_STATUS_FORBIDDEN);
  }
  if (announcesMoreThan(message, MOST_BODY)) {
    refuseBody(message);
  }
}

// Some clients leave the port out, which no browser does.
std::string SoapServer::hostOf(SoupServerMessage* message) const {
  const char* host = headerOf(message, "Host");
  const std::string text = host != nullptr ? host : "";
  const std::size_t bracket = text.rfind(']');
  const bool hasPort =
      text.find(':', bracket != std::string::npos ? bracket : 0) != std::string::npos;
  return text.empty() || hasPort ? text : text + ':' + std::to_string(port());
}

void SoapServer::handle(SoupServerMessage* message, const std::string& path) {
  connections.enter(soup_server_message_get_remote_address(message), ConnectionStep_e::answer);
  if (!path.starts_with(ROOT)) {
    return refuse(message, SOUP_STATUS_NOT_FOUND);
  }
  const std::string_view method = soup_server_message_get_method(message);
  const auto& documents = operations.getDocuments();
  if (method == "GET" && documents && path.starts_with(documents->root)) {
    return sendDocument(message, *documents, path.substr(documents->root.size()));
  }
  if (method != "POST") {
    setHeader(message, "Allow", "POST");
    return refuse(message, SOUP_STATUS_METHOD_NOT_ALLOWED);
  }
  const Caller caller = callerOf(message);
  if (caller == Caller::refused) {
    return askForUser(message);
  }
  std::optional<Envelope> envelope;
  try {
    envelope = readEnvelope(bodyOf(message));
    answer(message, path, *envelope, caller);
  } catch (const Fault& fault) {
    // What cannot be read has no token either; it is empty where a client first asks which login
    // there is.
    if (!envelope && caller == Caller::unknown) {
      return askForUser(message);
    }
    respond(message, fault);
  }
}

void SoapServer::sendDocument(SoupServerMessage* message, const Operations::Documents& documents,
                              const std::string& name) {
  if (callerOf(message) != Caller::user) {
    return askForUser(message);
  }
  const std::optional<std::string> document = documents.fetch(name);
  if (!document) {
    return refuse(message, SOUP_STATUS_NOT_FOUND);
  }
  setHeaders(message);
  soup_server_message_set_status(message, SOUP_STATUS_OK, nullptr);
  soup_server_message_set_response(message, documents.type.c_str(), SOUP_MEMORY_COPY,
                                   document->data(), document->size());
}

SoapServer::Caller SoapServer::callerOf(SoupServerMessage* message) {
  if (!login) {
    return Caller::user;
  }
  if (headerOf(message, "Authorization") == nullptr) {
    return Caller::unknown;
  }
  return login->challengeFor(message) || !manners.knowsUser() ? Caller::refused : Caller::user;
}

void SoapServer::askForUser(SoupServerMessage* message) {
  // Whom nobody can be is asked for in vain.
  const auto challenge = manners.knowsUser() ? login->challengeFor(message) : std::nullopt;
  if (challenge) {
    setHeader(message, "WWW-Authenticate", challenge->c_str());
  }
  refuse(message, SOUP_STATUS_UNAUTHORIZED);
}

void SoapServer::answer(SoupServerMessage* message, const std::string& path,
                        const Envelope& envelope, Caller caller) {
  const Operations::Operation* found = operations.find(envelope.operation.name());
  const Operations::Operation& operation = found != nullptr ? *found : notOffered();
  const bool asksForToken = caller == Caller::unknown && operation.access != Access::anybody;
  if (asksForToken) {
    if (!envelope.token || !manners.takesTokens()) {
      return askForUser(message);
    }
    if (!tokens->use(*envelope.token) || !manners.knowsUser()) {
      throw notAuthorized();
    }
  }
  call(message, operation, {envelope.operation, hostOf(message), path}, envelope.messageId,
       asksForToken);
}

void SoapServer::call(SoupServerMessage* message, const Operations::Operation& operation,
                      const Request& request, const std::string& messageId, bool hasToken) {
  const std::shared_ptr<SoupServerMessage> held(
      static_cast<SoupServerMessage*>(g_object_ref(message)), GDeleter<g_object_unref>());
  soup_server_message_pause(message);
  try {
    const auto send = [this, held, hasToken, action = operation.action, messageId](
                          Tag tag, Operations::Sent sent) {
      const std::string text = writeEnvelope(std::move(tag), addressingHeaders(action, messageId));
      if (sent) {
        Delivery::watch(held.get(), text.size(), std::move(sent));
      }
      respond(held.get(), SOUP_STATUS_OK, text);
      release(held, hasToken);
    };
    operation.serve(request, {send, [this, held] { return isAwaited(held.get()); }});
  } catch (const Fault& fault) {
    respond(message, fault);
    release(held, hasToken);
  }
}

// Some clients tell the tokens of their requests apart by the millisecond alone: who is answered a
// millisecond later never makes the same one twice.
void SoapServer::release(const std::shared_ptr<SoupServerMessage>& message, bool isHeldBack) {
  if (!isHeldBack) {
    return soup_server_message_unpause(message.get());
  }
  HeldAnswer& answer = heldAnswers.emplace_back(HeldAnswer{this, message, nullptr});
  answer.timer = startTimer(1, heldLongEnough, &answer);
}

gboolean SoapServer::heldLongEnough(gpointer data) {
  const auto* answer = static_cast<const HeldAnswer*>(data);
  const std::shared_ptr<SoupServerMessage> message = answer->message;
  answer->server->heldAnswers.remove_if(
      [&](const HeldAnswer& candidate) { return &candidate == answer; });
  soup_server_message_unpause(message.get());
  return G_SOURCE_REMOVE;
}

// Who has sent its request and has closed its connection has gone.
bool SoapServer::isAwaited(SoupServerMessage* message) const {
  const auto socket = connections.socketOf(soup_server_message_get_remote_address(message));
  if (!socket) {
    return false;
  }
  constexpr short GONE = POLLRDHUP | POLLHUP | POLLERR;
  pollfd state = {g_socket_get_fd(socket.get()), GONE, 0};
  return poll(&state, 1, 0) == 0 || (state.revents & GONE) == 0;
}

void SoapServer::leave(SoupServerMessage* message) {
  const GObjectPtr<GIOStream> connection(soup_server_message_steal_connection(message));
  g_io_stream_close(connection.get(), nullptr, nullptr);
}

void SoapServer::refuseBody(SoupServerMessage* message) {
  constexpr char ANSWER[] =
      "HTTP/1.1 413 Request Entity Too Large\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";
  const auto socket = connections.socketOf(soup_server_message_get_remote_address(message));
  GObjectPtr<GIOStream> connection(soup_server_message_steal_connection(message));
  const auto place = refusals.insert(refusals.end(), nullptr);
  *place = std::make_unique<LingeringRefusal>(std::move(connection), socket.get(), ANSWER,
                                              [this, place] { refusals.erase(place); });
}

}  // namespace device::onvif
