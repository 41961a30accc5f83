#include "services/remote_ptz_service.h"

#include <utility>

#include "base/bus_names.h"
#include "device_dbus.h"

namespace device {

namespace {

using bus_names::REMOTE_PTZ;

constexpr std::size_t QUEUE_LIMIT = 1 << 16;  // bytes

}  // namespace

struct RemotePtzService::Handlers {
  static gboolean openChannel(BusRemoteCameraControlPTZTravo* skeleton,
                              GDBusMethodInvocation* invocation, guint channel, gpointer self) {
    if (const char* refusal = refusalOf(channel)) {
      answerInvalidArgs(invocation, refusal);
      return TRUE;
    }
    const std::string& path = static_cast<RemotePtzService*>(self)->listener.getPath();
    bus_remote_camera_control_ptztravo_complete_open_channel(skeleton, invocation, path.c_str());
    return TRUE;
  }
};

RemotePtzService::RemotePtzService(GDBusConnection* connection, const std::string& folder,
                                   HeadParameters parameters)
    : parameters(std::move(parameters)),
      listener(folder + "/channel" + std::to_string(HEAD_CHANNEL),
               [this](GObjectPtr<GSocket> socket) { accept(std::move(socket)); }),
      object(connection, bus_remote_camera_control_ptztravo_skeleton_new(), REMOTE_PTZ.path),
      name(connection, REMOTE_PTZ.name) {
  g_signal_connect(object.get(), "handle-open-channel", G_CALLBACK(Handlers::openChannel), this);
}

void RemotePtzService::accept(GObjectPtr<GSocket> socket) {
  const auto client = clients.emplace(clients.end());
  *client = std::make_unique<StreamClient>(
      std::move(socket), QUEUE_LIMIT,
      StreamClient::Callbacks{[this, client](std::string_view line) {
                                (*client)->send(sharedBytes(parameters.answer(line) + "\n"));
                              },
                              [this, client] { clients.erase(client); }});
}

}  // namespace device
