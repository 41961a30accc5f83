// What the servers have in common of the library's connections and messages.
#ifndef DEVICE_WEB_SERVER_SOUP_MESSAGE_H
#define DEVICE_WEB_SERVER_SOUP_MESSAGE_H

#include <libsoup/soup.h>

#include <cstddef>
#include <functional>
#include <string>

#include "base/glib_ptr.h"
#include "web_server/web_connections.h"

namespace device {

// Lets the server speak with a client that has come, if there is room for another connection; else
// the client is sent away.
void acceptClient(SoupServer* server, WebConnections* connections, GObjectPtr<GSocket> client);

// A header of the request, null when it has none; several of one name are parted by commas.
const char* headerOf(SoupServerMessage* message, const char* name);

// The request's body, as far as it has come.
std::string bodyOf(SoupServerMessage* message);

// Whether the request says that its body has more bytes than that.
bool announcesMoreThan(SoupServerMessage* message, std::size_t bytes);

// What a server does with each message, in this order.
struct SoupCalls {
  std::function<void(SoupServerMessage*)> begin;   // for what the library refuses by itself
  std::function<void(SoupServerMessage*)> check;   // before the body is read
  std::size_t mostBody = 0;                        // bytes
  std::function<void(SoupServerMessage*)> refuse;  // with each part of a body beyond these
  std::function<void(SoupServerMessage*, const char* path, GHashTable* fields)> handle;
};

// The calls outlive the server and all its messages.
void connectCalls(SoupServer* server, const SoupCalls& calls);

}  // namespace device

#endif
