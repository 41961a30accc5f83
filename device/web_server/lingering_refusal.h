#ifndef DEVICE_WEB_SERVER_LINGERING_REFUSAL_H
#define DEVICE_WEB_SERVER_LINGERING_REFUSAL_H

#include <gio/gio.h>

#include <cstddef>
#include <functional>
#include <string>

#include "base/glib_ptr.h"

namespace device {

// The end of a connection whose client is told something while it still sends: writes the answer,
// then takes and throws away what comes, so that the client gets to read the answer instead of
// finding its connection broken. Ends with the client, after a time, or when too much came.
class LingeringRefusal {
 public:
  static constexpr guint SECONDS = 5;
  static constexpr std::size_t MAX_DISCARDED = std::size_t{64} << 20;  // bytes

  // stream owns the socket. gone: called once, from the main loop; may destroy the object.
  LingeringRefusal(GObjectPtr<GIOStream> stream, GSocket* socket, const std::string& answer,
                   std::function<void()> gone);
  LingeringRefusal(const LingeringRefusal&) = delete;
  LingeringRefusal& operator=(const LingeringRefusal&) = delete;

 private:
  static gboolean readable(GSocket* socket, GIOCondition condition, gpointer self);
  static gboolean expired(gpointer self);
  bool discard();

  GObjectPtr<GIOStream> stream;
  GObjectPtr<GSocket> socket;
  std::function<void()> gone;
  std::size_t discarded = 0;
  GSourcePtr readSource;
  GSourcePtr timer;
};

}  // namespace device

#endif
