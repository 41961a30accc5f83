#include "services/remote_ptz_service.h"

#include <utility>

#include "device_dbus.h"

namespace device {

namespace {

constexpr char kName[] = "com.orva.RemoteCameraControl.PTZ";
constexpr char kPath[] = "/com/orva/RemoteCameraControl/PTZ";
constexpr guint kChannel = 1;
constexpr std::size_t kQueueLimit = 1 << 16;  // bytes

constexpr std::string_view kRequestHead = "GET orva-cgi/param.cgi?action=list&group=";
constexpr std::string_view kRequestTail = " 1";
constexpr std::string_view kRoot = "root.";

}  // namespace

struct RemotePtzService::Handlers {
  static gboolean openChannel(BusRemoteCameraControlPTZTravo* skeleton,
                              GDBusMethodInvocation* invocation, guint channel, gpointer self) {
    if (channel != kChannel) {
      answerInvalidArgs(invocation, "The head is on channel 1");
      return TRUE;
    }
    const std::string& path = static_cast<RemotePtzService*>(self)->listener_.path();
    bus_remote_camera_control_ptztravo_complete_open_channel(skeleton, invocation, path.c_str());
    return TRUE;
  }
};

RemotePtzService::RemotePtzService(GDBusConnection* connection, const std::string& folder,
                                   std::map<std::string, std::string> parameters, IsReady isReady)
    : parameters_(std::move(parameters)),
      isReady_(std::move(isReady)),
      listener_(folder + "/channel" + std::to_string(kChannel),
                [this](GObjectPtr<GSocket> socket) { accept(std::move(socket)); }),
      object_(connection, bus_remote_camera_control_ptztravo_skeleton_new(), kPath),
      name_(connection, kName) {
  g_signal_connect(object_.get(), "handle-open-channel", G_CALLBACK(Handlers::openChannel), this);
}

std::string RemotePtzService::answer(std::string_view request) const {
  if (!isReady_()) return "0 0";
  if (request.ends_with('\r')) request.remove_suffix(1);
  if (!request.starts_with(kRequestHead) || !request.ends_with(kRequestTail)) {
    return "error: not a request";
  }
  request.remove_prefix(kRequestHead.size());
  request.remove_suffix(kRequestTail.size());
  std::string name(request);
  if (name.starts_with(kRoot)) name.erase(0, kRoot.size());
  const auto found = parameters_.find(name);
  const std::string fullName = std::string(kRoot) + name;
  if (found == parameters_.end()) return "error: no parameter " + fullName;
  return fullName + "=" + found->second;
}

void RemotePtzService::accept(GObjectPtr<GSocket> socket) {
  const auto client = clients_.emplace(clients_.end());
  *client = std::make_unique<StreamClient>(
      std::move(socket), kQueueLimit,
      StreamClient::Callbacks{[this, client](std::string_view line) {
                                (*client)->send(sharedBytes(answer(line) + "\n"));
                              },
                              [this, client] { clients_.erase(client); }});
}

}  // namespace device
