#include "services/remote_ptz_service.h"

#include <utility>

#include "device_dbus.h"

namespace device {

namespace {

constexpr char kName[] = "com.orva.RemoteCameraControl.PTZ";
constexpr char kPath[] = "/com/orva/RemoteCameraControl/PTZ";
constexpr std::size_t kQueueLimit = 1 << 16;  // bytes

}  // namespace

struct RemotePtzService::Handlers {
  static gboolean openChannel(BusRemoteCameraControlPTZTravo* skeleton,
                              GDBusMethodInvocation* invocation, guint channel, gpointer self) {
    if (const char* refusal = refusalOf(channel)) {
      answerInvalidArgs(invocation, refusal);
      return TRUE;
    }
    const std::string& path = static_cast<RemotePtzService*>(self)->listener_.path();
    bus_remote_camera_control_ptztravo_complete_open_channel(skeleton, invocation, path.c_str());
    return TRUE;
  }
};

RemotePtzService::RemotePtzService(GDBusConnection* connection, const std::string& folder,
                                   HeadParameters parameters)
    : parameters_(std::move(parameters)),
      listener_(folder + "/channel" + std::to_string(kHeadChannel),
                [this](GObjectPtr<GSocket> socket) { accept(std::move(socket)); }),
      object_(connection, bus_remote_camera_control_ptztravo_skeleton_new(), kPath),
      name_(connection, kName) {
  g_signal_connect(object_.get(), "handle-open-channel", G_CALLBACK(Handlers::openChannel), this);
}

void RemotePtzService::accept(GObjectPtr<GSocket> socket) {
  const auto client = clients_.emplace(clients_.end());
  *client = std::make_unique<StreamClient>(
      std::move(socket), kQueueLimit,
      StreamClient::Callbacks{[this, client](std::string_view line) {
                                (*client)->send(sharedBytes(parameters_.answer(line) + "\n"));
                              },
                              [this, client] { clients_.erase(client); }});
}

}  // namespace device
