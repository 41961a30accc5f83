#ifndef DEVICE_WEB_SERVER_DIGEST_LOGIN_H
#define DEVICE_WEB_SERVER_DIGEST_LOGIN_H

#include <libsoup/soup.h>

#include <chrono>
#include <optional>
#include <string>

#include "base/glib_ptr.h"
#include "web_server/nonce_book.h"
#include "web_server/web_options.h"

namespace device {

// Asks for a user by HTTP digest. The library checks the digest, but takes any nonce, any number of
// times: nonces are this one's own.
class DigestLogin {
 public:
  // nonceLifetime: for which a client goes on with a nonce before it is given another one.
  DigestLogin(WebUser user, std::chrono::microseconds nonceLifetime);
  DigestLogin(const DigestLogin&) = delete;
  DigestLogin& operator=(const DigestLogin&) = delete;

  // Nothing when the request is the user's; otherwise what is to be asked of the client, the value
  // of WWW-Authenticate. A request that is good only once has then been used.
  std::optional<std::string> challengeFor(SoupServerMessage* message);

 private:
  static char* passwordOf(SoupAuthDomain*, SoupServerMessage*, const char* name, gpointer self);
  bool isUsers(SoupServerMessage* message) const;
  bool isFirst(SoupServerMessage* message);

  WebUser user;
  NonceBook nonces;
  GObjectPtr<SoupAuthDomain> domain;
};

}  // namespace device

#endif
