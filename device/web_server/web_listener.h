#ifndef DEVICE_WEB_SERVER_WEB_LISTENER_H
#define DEVICE_WEB_SERVER_WEB_LISTENER_H

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <string>

#include "base/glib_ptr.h"

namespace device {

// A listening TCP socket. A few connections are accepted in each turn of the main loop, so that a
// crowd does not hold up what else is done there; the others wait in the system's queue. When there
// are no descriptors left it stands back for a moment and goes on by itself.
class WebListener {
 public:
  static constexpr int BACKLOG = 4096;  // or what the system allows, if that is less
  static constexpr int PER_TURN = 8;
  static constexpr guint PAUSE = 50;  // milliseconds

  using Accept = std::function<void(GObjectPtr<GSocket> socket)>;
  using Shortage = std::function<void()>;

  // address: as text without brackets; port 0 is any free one. accept and shortage are called from
  // the main loop, shortage whenever a connection could not be accepted. Throws std::runtime_error
  // when it cannot listen.
  WebListener(const std::string& address, std::uint16_t port, Accept accept, Shortage shortage);
  WebListener(const WebListener&) = delete;
  WebListener& operator=(const WebListener&) = delete;

  std::uint16_t port() const;

 private:
  static gboolean readable(GSocket* socket, GIOCondition condition, gpointer self);
  static gboolean paused(gpointer self);
  bool acceptOne();
  void watch();
  void standBack();

  Accept accept;
  Shortage shortage;
  GObjectPtr<GSocket> socket;
  GSourcePtr source;  // of connections, or of the pause's end
};

}  // namespace device

#endif
