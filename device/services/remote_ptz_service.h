#ifndef DEVICE_SERVICES_REMOTE_PTZ_SERVICE_H
#define DEVICE_SERVICES_REMOTE_PTZ_SERVICE_H

#include <gio/gio.h>

#include <list>
#include <memory>
#include <string>

#include "services/bus.h"
#include "services/head_requests.h"
#include "services/local_socket.h"
#include "services/stream_client.h"

namespace device {

// The channel to the remote head: hands out the path of a socket on which the head answers requests
// for its parameters. Used from the thread of the main loop only.
class RemotePtzService {
 public:
  // The socket is made in a folder.
  RemotePtzService(GDBusConnection* connection, const std::string& folder,
                   HeadParameters parameters);

 private:
  struct Handlers;

  void accept(GObjectPtr<GSocket> socket);

  HeadParameters parameters;
  std::list<std::unique_ptr<StreamClient>> clients;
  LocalListener listener;
  BusObject object;
  BusName name;
};

}  // namespace device

#endif
