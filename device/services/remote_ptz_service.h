#ifndef DEVICE_SERVICES_REMOTE_PTZ_SERVICE_H
#define DEVICE_SERVICES_REMOTE_PTZ_SERVICE_H

#include <gio/gio.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "services/bus.h"
#include "services/local_socket.h"
#include "services/stream_client.h"

namespace device {

// The channel to the remote head: hands out the path of a socket on which the head answers requests
// for its parameters. A request is the line "GET orva-cgi/param.cgi?action=list&group=NAME 1"; the
// answer is one line: "root.NAME=value", "0 0" while the head starts, or an error that names the
// parameter. Used from the thread of the main loop only.
class RemotePtzService {
 public:
  using IsReady = std::function<bool()>;

  // parameters have names without "root."; the socket is made in a folder.
  RemotePtzService(GDBusConnection* connection, const std::string& folder,
                   std::map<std::string, std::string> parameters, IsReady isReady);

  // The answer to a request line, both without line feed.
  std::string answer(std::string_view request) const;

 private:
  struct Handlers;

  void accept(GObjectPtr<GSocket> socket);

  std::map<std::string, std::string> parameters_;
  IsReady isReady_;
  std::list<std::unique_ptr<StreamClient>> clients_;
  LocalListener listener_;
  BusObject object_;
  BusName name_;
};

}  // namespace device

#endif
