#include "ptz/ptz_remote_travo.h"

#include <sys/socket.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#include "app/ratio.h"
#include "base/bus_names.h"
#include "base/local_socket.h"
#include "base/system_bus.h"

namespace {

using bus_names::REMOTE_PTZ;

constexpr const char* INTERFACE = "com.orva.RemoteCameraControl.PTZ.Travo";
constexpr const char* METHOD = "OpenChannel";
constexpr int CALL_TIMEOUT = 5000;  // milliseconds
// Of the call whose answer is not used: the start waits for it, and an end for the start.
constexpr int FIRST_CALL_TIMEOUT = 3000;
constexpr int SOCKET_TIMEOUT = 5000;  // milliseconds
constexpr int CONNECT_PERIOD = 50;    // milliseconds

constexpr std::size_t MAX_RECEIVED = 255;
constexpr int SEND_ATTEMPTS = 2;
constexpr const char* NOT_READY = "0 0";

constexpr const char* SENSOR_ASPECT_RATIO = "ImageSource.I0.Sensor.AspectRatio";
constexpr const char* RESOLUTION = "Image.I0.Appearance.Resolution";
constexpr const char* DETECTED_TYPE = "ImageSource.I0.Video.DetectedType";
constexpr double SMALLEST_RATIO = 0.001;
constexpr double ANALOG_RATIO = static_cast<double>(4.0F / 3.0F);

// Nothing without digits. What is out of range becomes the nearest limit.
std::optional<int> readInteger(const std::string& text) {
  using Limits = std::numeric_limits<int>;
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (end == text.c_str()) {
    return std::nullopt;
  }
  return static_cast<int>(std::clamp<long>(value, Limits::min(), Limits::max()));
}

// Nothing without digits, and for what is not finite.
std::optional<double> readDecimal(const std::string& text) {
  char* end = nullptr;
  const double value = g_ascii_strtod(text.c_str(), &end);
  if (end == text.c_str() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

// What was read into an out-argument, which is left alone when there is nothing.
template <typename T>
bool handOver(const std::optional<T>& read, T& value) {
  value = read.value_or(value);
  return read.has_value();
}

bool isAnalogType(const std::string& type) {
  constexpr std::array ANALOG_TYPES{"pal", "ntsc", "PAL", "NTSC"};
  return std::ranges::any_of(ANALOG_TYPES, [&type](const char* known) { return type == known; });
}

// From the last place of the needle on, when the line that begins there has ended.
std::optional<std::string> findLine(const std::string& reply, const char* needle) {
  const std::size_t position = reply.rfind(needle);
  if (position == std::string::npos || reply.find('\n', position) == std::string::npos) {
    return std::nullopt;
  }
  return reply.substr(position);
}

}  // namespace

PtzRemoteTravo::PtzRemoteTravo() {
  if (!createProxy() || !openChannel(FIRST_CALL_TIMEOUT)) {
    syslog(LOG_ERR, "%s: Could not connect to the proxy\n", "PtzRemoteTravo");
  }
}

PtzRemoteTravo::~PtzRemoteTravo() = default;

// ---- Attempts ----

bool PtzRemoteTravo::beginAttempt() {
  const LockGuard lock(attemptMutex);
  if (cancellable != nullptr) {
    return false;
  }
  cancellable.reset(g_cancellable_new());
  isGone = false;
  return true;
}

void PtzRemoteTravo::endAttempt() {
  const LockGuard lock(attemptMutex);
  cancellable.reset();
}

void PtzRemoteTravo::cancel() {
  const LockGuard lock(attemptMutex);
  if (cancellable != nullptr) {
    g_cancellable_cancel(cancellable.get());
  }
}

GCancellable* PtzRemoteTravo::getCancellable() const {
  const LockGuard lock(attemptMutex);
  return cancellable.get();
}

bool PtzRemoteTravo::isAttemptOver() const {
  GCancellable* attempt = getCancellable();
  return attempt != nullptr && (isGone || g_cancellable_is_cancelled(attempt) != FALSE);
}

// False when the socket is not ready in time, or the attempt is cut short.
bool PtzRemoteTravo::waitFor(int fd, gushort condition, int milliseconds) {
  std::array<GPollFD, 2> polled{GPollFD{.fd = fd, .events = condition, .revents = 0}};
  const bool canBeCut = g_cancellable_make_pollfd(getCancellable(), &polled[1]) != FALSE;
  int ready = 0;
  do {
    ready = g_poll(polled.data(), canBeCut ? 2 : 1, milliseconds);
  } while (ready == -1 && errno == EINTR);
  if (canBeCut) {
    g_cancellable_release_fd(getCancellable());
  }
  return ready > 0 && polled[0].revents != 0 && !isAttemptOver();
}

// ---- The channel ----

bool PtzRemoteTravo::createProxy() {
  const SystemBusPtr bus = openSystemBus(nullptr, getCancellable());
  if (bus == nullptr) {
    return false;
  }
  // The interface has no properties; asking for them would block on a service that hangs.
  proxy.reset(g_dbus_proxy_new_sync(bus.get(), G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr,
                                    REMOTE_PTZ.name, REMOTE_PTZ.path, INTERFACE, getCancellable(),
                                    nullptr));
  return proxy != nullptr;
}

// False when there is none, or its bus has been lost.
bool PtzRemoteTravo::isProxyUsable() const {
  return proxy != nullptr && !g_dbus_connection_is_closed(g_dbus_proxy_get_connection(proxy.get()));
}

// The path of the channel's socket.
std::optional<std::string> PtzRemoteTravo::openChannel(int milliseconds) {
  ErrorSlot error;
  const GVariantPtr reply(g_dbus_proxy_call_sync(
      proxy.get(), METHOD, g_variant_new("(u)", static_cast<guint32>(channel)),
      G_DBUS_CALL_FLAGS_NONE, milliseconds, getCancellable(), error.out()));
  if (reply == nullptr) {
    isGone = g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE;
    return std::nullopt;
  }
  if (!g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(s)"))) {
    return std::nullopt;
  }
  const gchar* path = nullptr;
  g_variant_get(reply.get(), "(&s)", &path);
  return path;
}

// A head that does not accept any more is asked again and again: such a connection cannot be waited
// for.
FileDescriptor PtzRemoteTravo::connectTo(const std::string& path) {
  for (int waited = 0;; waited += CONNECT_PERIOD) {
    FileDescriptor fd = local_socket::connectTo(path, {}, local_socket::LongPath::cut);
    if (fd.isOpen()) {
      return local_socket::setBlocking(fd.get(), false) ? std::move(fd) : FileDescriptor();
    }
    isGone = errno == EAGAIN && waited >= SOCKET_TIMEOUT;
    if (errno != EAGAIN || isGone || isAttemptOver()) {
      return fd;
    }
    waitFor(-1, 0, CONNECT_PERIOD);
  }
}

int PtzRemoteTravo::request_socket() {
  if (isAttemptOver()) {
    return -1;
  }
  if (socketFd.isOpen()) {
    return socketFd.get();
  }
  if (channel < 0) {
    syslog(LOG_ERR, "Channel not set for port!\n");
    return -1;
  }
  if (!isProxyUsable() && !createProxy()) {
    return -1;
  }
  const auto path = openChannel(CALL_TIMEOUT);
  if (!path) {
    return -1;
  }
  socketFd = connectTo(*path);
  return socketFd.get();
}

int PtzRemoteTravo::send_request(const char* request) {
  if (request == nullptr) {
    syslog(LOG_ERR, "Port not set! Null pointer.\n");
    return -1;
  }
  for (int attempt = 0; attempt < SEND_ATTEMPTS; ++attempt) {
    if (request_socket() < 0) {
      return -1;
    }
    if (sendAll(request)) {
      return static_cast<int>(std::strlen(request));
    }
    socketFd.reset();
  }
  return -1;
}

// After a call on the socket that has failed: false when it is not to be made again.
bool PtzRemoteTravo::canTryAgain(gushort condition) {
  if (errno != EAGAIN) {
    return errno == EINTR;
  }
  isGone = !waitFor(socketFd.get(), condition, SOCKET_TIMEOUT);
  return !isGone;
}

bool PtzRemoteTravo::sendAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = send(socketFd.get(), text.data(), text.size(), MSG_NOSIGNAL);
    if (sent >= 0) {
      text.remove_prefix(static_cast<std::size_t>(sent));
    } else if (!canTryAgain(G_IO_OUT)) {
      return false;
    }
  }
  return true;
}

// One read of the reply. Nothing on an error; the socket is then closed, as it is when the head has
// closed its end, so that the next request begins anew.
std::optional<std::string> PtzRemoteTravo::receive() {
  std::array<char, MAX_RECEIVED> buffer{};
  ssize_t received = 0;
  do {
    received = recv(socketFd.get(), buffer.data(), buffer.size(), 0);
  } while (received == -1 && canTryAgain(G_IO_IN));
  if (received <= 0) {
    socketFd.reset();
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
  if (auto line = findLine(*reply, needle)) {
    return line;
  }
  const bool isBegun = reply->find(needle) != std::string::npos;
  if (!isBegun && reply->find(NOT_READY) != std::string::npos) {
    syslog(LOG_ERR, "Received non valid response. PTZ camera connection not ready.\n");
    return std::nullopt;
  }
  const std::string beginning = isBegun ? *reply : "";
  // After the end of the stream there is nothing more to read.
  reply = socketFd.isOpen() ? receive() : std::string();
  if (!reply) {
    syslog(LOG_ERR, "Failed to receive second camera block response!\n");
    return std::nullopt;
  }
  auto line = findLine(beginning + *reply, needle);
  if (!line) {
    syslog(LOG_ERR, "Failed to find substring!\n");
  }
  return line;
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
  const std::size_t end = reply->find('\n', equals);
  if (end == std::string::npos) {
    return std::nullopt;
  }
  std::string value = reply->substr(equals + 1, end - equals - 1);
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

// Degrees.
std::optional<double> PtzRemoteTravo::readFieldAngle(const char* name) {
  constexpr double TENTHS_PER_DEGREE = 10.0;
  const auto value = get_remote_param(name);
  const auto tenths = value ? readDecimal(*value) : std::nullopt;
  if (!tenths) {
    syslog(LOG_ERR, "Failed to get parameter value %s\n", name);
    return std::nullopt;
  }
  return *tenths / TENTHS_PER_DEGREE;
}

bool PtzRemoteTravo::getMinFieldAngle(double& degrees) {
  return handOver(readFieldAngle("PTZ.Limit.L1.MinFieldAngle"), degrees);
}

bool PtzRemoteTravo::getMaxFieldAngle(double& degrees) {
  return handOver(readFieldAngle("PTZ.Limit.L1.MaxFieldAngle"), degrees);
}

std::optional<int> PtzRemoteTravo::readZoom(const char* name) {
  const auto value = get_remote_param(name);
  const auto zoom = value ? readInteger(*value) : std::nullopt;
  if (!zoom) {
    syslog(LOG_ERR, "Failed to get parameter value %s\n", name);
  }
  return zoom;
}

bool PtzRemoteTravo::getMinZoom(int& zoom) {
  return handOver(readZoom("PTZ.Limit.L1.MinZoom"), zoom);
}

bool PtzRemoteTravo::getMaxZoom(int& zoom) {
  return handOver(readZoom("PTZ.Limit.L1.MaxZoom"), zoom);
}

bool PtzRemoteTravo::getStops(const std::string& axis, double& lowest, double& highest) {
  constexpr double UNKNOWN = std::numeric_limits<double>::quiet_NaN();  // below and above nothing
  const auto low = get_remote_param(("PTZ.Limit.L1.Min" + axis).c_str());
  const auto high = get_remote_param(("PTZ.Limit.L1.Max" + axis).c_str());
  const double least = low ? readDecimal(*low).value_or(UNKNOWN) : UNKNOWN;
  const double most = high ? readDecimal(*high).value_or(UNKNOWN) : UNKNOWN;
  if (!(least < most)) {
    return false;
  }
  lowest = least;
  highest = most;
  return true;
}

bool PtzRemoteTravo::getAspectRatio(double& ratio) {
  const auto sensorRatio = get_remote_param(SENSOR_ASPECT_RATIO);
  const auto resolution = get_remote_param(RESOLUTION);
  const auto detectedType = get_remote_param(DETECTED_TYPE);
  if (isAttemptOver()) {
    return false;  // what could not be asked for is no answer
  }
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
