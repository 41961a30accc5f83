#ifndef DEVICE_ONVIF_SERVER_SOAP_SERVER_H
#define DEVICE_ONVIF_SERVER_SOAP_SERVER_H

#include <libsoup/soup.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "base/glib_ptr.h"
#include "onvif/envelope.h"
#include "onvif_server/onvif_options.h"
#include "onvif_server/operations.h"
#include "onvif_server/token_book.h"
#include "web_server/digest_login.h"
#include "web_server/lingering_refusal.h"
#include "web_server/origin_check.h"
#include "web_server/soup_message.h"
#include "web_server/web_connections.h"
#include "web_server/web_listener.h"

namespace device::onvif {

// How a camera lets its clients in, where it does not do so as it ought to.
struct SoapManners {
  std::function<std::int64_t()> clock = g_get_real_time;  // of tokens, microseconds since 1970
  std::function<bool()> takesTokens = [] { return true; };
  std::function<bool()> knowsUser = [] { return true; };
  std::function<bool()> isThere = [] { return true; };  // else connections end without an answer
};

// Offers operations by SOAP over HTTP, in the main loop of its thread, at any path below /onvif/.
// Answers other than an operation's own or a SOAP fault have no body:
//
//   401  a user is asked for; by digest, unless the message has a token of its own
//   403  the request was made by a page from elsewhere
//   404  another path, or no such document
//   405  another method than POST, or GET for a document
//   413  a body above 1 MiB
class SoapServer {
 public:
  static constexpr std::size_t MOST_BODY = std::size_t{1} << 20;  // bytes

  // The operations outlive the server. Throws std::runtime_error when it cannot listen.
  SoapServer(const OnvifOptions& options, const Operations& operations,
             const ConnectionLimits& limits = {}, SoapManners manners = {});
  SoapServer(const SoapServer&) = delete;
  SoapServer& operator=(const SoapServer&) = delete;

  // Ends all connections; requests on their way stay without an answer.
  ~SoapServer();

  std::uint16_t port() const { return listener->port(); }
  const std::string& getAddress() const { return address; }

 private:
  struct HeldAnswer {
    SoapServer* server;
    std::shared_ptr<SoupServerMessage> message;
    GSourcePtr timer;
  };

  // As far as HTTP tells.
  enum class Caller { unknown, user, refused };

  void check(SoupServerMessage* message);
  std::string hostOf(SoupServerMessage* message) const;
  void handle(SoupServerMessage* message, const std::string& path);
  void sendDocument(SoupServerMessage* message, const Operations::Documents& documents,
                    const std::string& name);
  Caller callerOf(SoupServerMessage* message);
  void askForUser(SoupServerMessage* message);
  void answer(SoupServerMessage* message, const std::string& path, const Envelope& envelope,
              Caller caller);
  void call(SoupServerMessage* message, const Operations::Operation& operation,
            const Request& request, const std::string& messageId, bool hasToken);
  void release(const std::shared_ptr<SoupServerMessage>& message, bool isHeldBack);
  static gboolean heldLongEnough(gpointer heldAnswer);
  bool isAwaited(SoupServerMessage* message) const;
  static void leave(SoupServerMessage* message);
  void refuseBody(SoupServerMessage* message);

  std::string address;
  const Operations& operations;
  SoapManners manners;
  std::optional<DigestLogin> login;
  std::optional<TokenBook> tokens;
  std::optional<OriginCheck> origins;
  std::list<std::unique_ptr<LingeringRefusal>> refusals;
  std::list<HeldAnswer> heldAnswers;
  WebConnections connections;
  SoupCalls calls;
  GObjectPtr<SoupServer> server;
  std::unique_ptr<WebListener> listener;
};

}  // namespace device::onvif

#endif
