#ifndef DEVICE_SERVICES_LOCAL_SOCKET_H
#define DEVICE_SERVICES_LOCAL_SOCKET_H

#include <gio/gio.h>

#include <functional>
#include <string>

#include "base/glib_ptr.h"

namespace device {

// A local socket that does not block, bound to a path and open for every user; creates the folder
// and replaces what a process that has gone left there. Throws std::runtime_error.
GObjectPtr<GSocket> bindLocalSocket(const std::string& path, GSocketType type);

// Calls back in the main loop while the condition holds.
GSourcePtr watchSocket(GSocket* socket, GIOCondition condition, GSocketSourceFunc callback,
                       gpointer data);

// A listening stream socket at a path, removed with the object. Connections are handed over from
// the main loop.
class LocalListener {
 public:
  using Accept = std::function<void(GObjectPtr<GSocket> socket)>;

  LocalListener(std::string socketPath, Accept accept);
  LocalListener(const LocalListener&) = delete;
  LocalListener& operator=(const LocalListener&) = delete;
  ~LocalListener();

  const std::string& getPath() const { return path; }

 private:
  static gboolean readable(GSocket* socket, GIOCondition condition, gpointer self);

  std::string path;
  Accept accept;
  GObjectPtr<GSocket> socket;
  GSourcePtr source;
};

}  // namespace device

#endif
