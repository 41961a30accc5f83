#ifndef DEVICE_RTSP_RTSP_ACCESS_H
#define DEVICE_RTSP_RTSP_ACCESS_H

#include <gst/rtsp-server/rtsp-server.h>

#include <memory>
#include <optional>

#include "base/glib_ptr.h"
#include "rtsp/stream_faults.h"
#include "web_server/web_options.h"

namespace device {

// What a user may use has this role.
inline constexpr char RTSP_ROLE[] = "user";

// Says who may: the user, by digest; without one everybody. But nobody by RTSP within HTTP, which
// the library understands: a page in a browser can speak that, and nobody has checked its origin.
// faults: null where there are none.
GObjectPtr<GstRTSPAuth> makeRtspAccess(const std::optional<WebUser>& user,
                                       const std::shared_ptr<StreamFaults>& faults = nullptr);

}  // namespace device

#endif
