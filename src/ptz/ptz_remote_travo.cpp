#include "ptz/ptz_remote_travo.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "app/ratio.h"
#include "ptz/system_bus.h"

namespace {

constexpr const char* BUS_NAME = "com.orva.RemoteCameraControl.PTZ";
constexpr const char* OBJECT_PATH = "/com/orva/RemoteCameraControl/PTZ";
constexpr const char* INTERFACE = "com.orva.RemoteCameraControl.PTZ.Travo";
constexpr const char* METHOD = "OpenChannel";
constexpr int CALL_TIMEOUT = 5000;    // milliseconds
constexpr time_t SOCKET_TIMEOUT = 5;  // seconds

constexpr std::size_t MAX_RECEIVED = 255;
constexpr int SEND_ATTEMPTS = 2;
constexpr const char* NOT_READY = "0 0";

constexpr const char* SENSOR_ASPECT_RATIO = "ImageSource.I0.Sensor.AspectRatio";
constexpr const char* RESOLUTION = "Image.I0.Appearance.Resolution";
constexpr const char* DETECTED_TYPE = "ImageSource.I0.Video.DetectedType";
constexpr double SMALLEST_RATIO = 0.001;
constexpr double ANALOG_RATIO = static_cast<double>(4.0F / 3.0F);

// What is out of range becomes the nearest limit.
int readInteger(const std::string& text) {
  using Limits = std::numeric_limits<int>;
  const long value = std::strtol(text.c_str(), nullptr, 10);
  return static_cast<int>(std::clamp<long>(value, Limits::min(), Limits::max()));
}

bool isAnalogType(const std::string& type) {
  constexpr std::array ANALOG_TYPES{"pal", "ntsc", "PAL", "NTSC"};
  return std::ranges::any_of(ANALOG_TYPES, [&type](const char* known) { return type == known; });
}

// Also bounds connecting: to a head that does not accept any more it would wait for ever.
void limitWaiting(int fd) {
  const timeval timeout{SOCKET_TIMEOUT, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
}

int connectTo(const std::string& path) {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd == -1) {
    return -1;
  }
  limitWaiting(fd);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), std::min(path.size(), sizeof(address.sun_path)));
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

PtzRemoteTravo::PtzRemoteTravo() {
  if (!createProxy() || !openChannel()) {
    syslog(LOG_ERR, "%s: Could not connect to the proxy\n", "PtzRemoteTravo");
  }
}

PtzRemoteTravo::~PtzRemoteTravo() {
  closeSocket();
}

bool PtzRemoteTravo::createProxy() {
  const SystemBusPtr bus = openSystemBus(nullptr);
  if (bus == nullptr) {
    return false;
  }
  // The interface has no properties; asking for them would block on a service that hangs.
  proxy.reset(g_dbus_proxy_new_sync(bus.get(), G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr,
                                    BUS_NAME, OBJECT_PATH, INTERFACE, nullptr, nullptr));
  return proxy != nullptr;
}

// False when there is none, or its bus has been lost.
bool PtzRemoteTravo::isProxyUsable() const {
  return proxy != nullptr && !g_dbus_connection_is_closed(g_dbus_proxy_get_connection(proxy.get()));
}

// The path of the channel's socket.
std::optional<std::string> PtzRemoteTravo::openChannel() {
  GVariant* reply = g_dbus_proxy_call_sync(proxy.get(), METHOD,
                                           g_variant_new("(u)", static_cast<guint32>(channel)),
                                           G_DBUS_CALL_FLAGS_NONE, CALL_TIMEOUT, nullptr, nullptr);
  if (reply == nullptr) {
    return std::nullopt;
  }
  std::optional<std::string> path;
  if (g_variant_is_of_type(reply, G_VARIANT_TYPE("(s)"))) {
    const gchar* text = nullptr;
    g_variant_get(reply, "(&s)", &text);
    path = text;
  }
  g_variant_unref(reply);
  return path;
}

int PtzRemoteTravo::request_socket() {
  if (socketFd >= 0) {
    return socketFd;
  }
  if (channel < 0) {
    syslog(LOG_ERR, "Channel not set for port!\n");
    return -1;
  }
  if (!isProxyUsable() && !createProxy()) {
    return -1;
  }
  const auto path = openChannel();
  if (!path) {
    return -1;
  }
  socketFd = connectTo(*path);
  return socketFd;
}

void PtzRemoteTravo::closeSocket() {
  if (socketFd >= 0) {
    close(socketFd);
    socketFd = -1;
  }
}

int PtzRemoteTravo::send_request(const char* request) {
  if (request == nullptr) {
    syslog(LOG_ERR, "Port not set! Null pointer.\n");
    return -1;
  }
  for (int attempt = 0; attempt < SEND_ATTEMPTS; ++attempt) {
    const int fd = request_socket();
    if (fd < 0) {
      return -1;
    }
    const ssize_t sent = send(fd, request, std::strlen(request), MSG_NOSIGNAL);
    if (sent >= 0) {
      return static_cast<int>(sent);
    }
    closeSocket();
  }
  return -1;
}

// One read of the reply. Nothing on an error; the socket is then closed, as it is when the head has
// closed its end, so that the next request begins anew.
std::optional<std::string> PtzRemoteTravo::receive() {
  std::array<char, MAX_RECEIVED> buffer{};
  ssize_t received = 0;
  do {
    received = recv(socketFd, buffer.data(), buffer.size(), 0);
  } while (received == -1 && errno == EINTR);
  if (received <= 0) {
    closeSocket();
  }
  if (received < 0) {
    return std::nullopt;
  }
  std::string text(buffer.data(), static_cast<std::size_t>(received));
  return text.substr(0, text.find('\0'));
}

std::optional<std::string> PtzRemoteTravo::send_rec(const char* request, const char* needle) {
  if (request == nullptr || needle == nullptr) {
    syslog(LOG_ERR, "Failed send request! NULL pointer.\n");
    return std::nullopt;
  }
  if (send_request(request) < 0) {
    syslog(LOG_ERR, "Failed to send camera block request!\n");
    return std::nullopt;
  }
  auto reply = receive();
  if (!reply) {
    syslog(LOG_ERR, "Failed to receive camera block response!\n");
    return std::nullopt;
  }
  std::size_t position = reply->rfind(needle);
  if (position != std::string::npos) {
    return reply->substr(position);
  }
  if (reply->find(NOT_READY) != std::string::npos) {
    syslog(LOG_ERR, "Received non valid response. PTZ camera connection not ready.\n");
    return std::nullopt;
  }
  // After the end of the stream there is nothing more to read.
  reply = socketFd >= 0 ? receive() : std::string();
  if (!reply) {
    syslog(LOG_ERR, "Failed to receive second camera block response!\n");
    return std::nullopt;
  }
  position = reply->rfind(needle);
  if (position == std::string::npos) {
    syslog(LOG_ERR, "Failed to find substring!\n");
    return std::nullopt;
  }
  return reply->substr(position);
}

std::optional<std::string> PtzRemoteTravo::get_remote_param(const char* name) {
  if (name == nullptr) {
    syslog(LOG_ERR, "Parameter not set!\n");
    return std::nullopt;
  }
  const std::string request =
      std::string("GET orva-cgi/param.cgi?action=list&group=") + name + " 1\n";
  const auto reply = send_rec(request.c_str(), name);
  if (!reply) {
    syslog(LOG_ERR, "Failed to find parameter string!\n");
    return std::nullopt;
  }
  const std::size_t equals = reply->rfind('=');
  if (equals == std::string::npos) {
    return std::nullopt;
  }
  std::string value = reply->substr(equals + 1);
  value.erase(std::min(value.find('\n'), value.size()));
  if (value.ends_with('\r')) {
    value.pop_back();
  }
  return value;
}

bool PtzRemoteTravo::getProdNbr(std::string& number) {
  auto value = get_remote_param("Brand.ProdNbr");
  if (!value) {
    syslog(LOG_ERR, "Failed to get parameter value!\n");
    return false;
  }
  number = std::move(*value);
  return true;
}

bool PtzRemoteTravo::getFieldAngle(const char* name, double& degrees) {
  constexpr double TENTHS_PER_DEGREE = 10.0;
  const auto value = get_remote_param(name);
  const double tenths = value ? g_ascii_strtod(value->c_str(), nullptr) : 0.0;
  if (!value || !std::isfinite(tenths)) {
    syslog(LOG_ERR, "Failed to get parameter value %s\n", name);
    return false;
  }
  degrees = tenths / TENTHS_PER_DEGREE;
  return true;
}

bool PtzRemoteTravo::getMinFieldAngle(double& degrees) {
  return getFieldAngle("PTZ.Limit.L1.MinFieldAngle", degrees);
}

bool PtzRemoteTravo::getMaxFieldAngle(double& degrees) {
  return getFieldAngle("PTZ.Limit.L1.MaxFieldAngle", degrees);
}

bool PtzRemoteTravo::getZoom(const char* name, int& zoom) {
  const auto value = get_remote_param(name);
  if (!value) {
    syslog(LOG_ERR, "Failed to get parameter value %s\n", name);
    return false;
  }
  zoom = readInteger(*value);
  return true;
}

bool PtzRemoteTravo::getMinZoom(int& zoom) {
  return getZoom("PTZ.Limit.L1.MinZoom", zoom);
}

bool PtzRemoteTravo::getMaxZoom(int& zoom) {
  return getZoom("PTZ.Limit.L1.MaxZoom", zoom);
}

bool PtzRemoteTravo::getAspectRatio(double& ratio) {
  const auto sensorRatio = get_remote_param(SENSOR_ASPECT_RATIO);
  const auto resolution = get_remote_param(RESOLUTION);
  const auto detectedType = get_remote_param(DETECTED_TYPE);
  if (sensorRatio && !sensorRatio->empty()) {
    ratio = utils::parseRatio(*sensorRatio, ':');
    if (std::abs(ratio) < SMALLEST_RATIO) {
      syslog(LOG_WARNING, "Sensor aspect ratio '%s' has unknown format.\n", sensorRatio->c_str());
    }
    return true;
  }
  ratio = utils::parseRatio(resolution.value_or(""), 'x');
  if (std::abs(ratio) >= SMALLEST_RATIO) {
    return true;
  }
  const std::string type = detectedType.value_or("");
  if (isAnalogType(type)) {
    ratio = ANALOG_RATIO;
    return true;
  }
  syslog(LOG_WARNING, "Detected video type '%s' is invalid, assuming aspect ratio 1.0.\n",
         type.c_str());
  ratio = 1.0;
  return true;
}
