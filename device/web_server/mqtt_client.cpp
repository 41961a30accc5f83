#include "web_server/mqtt_client.h"

#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>

#include "base/mutex.h"

namespace device {

namespace {

constexpr std::chrono::milliseconds LONGEST_WAIT(1000);
constexpr std::chrono::milliseconds LONGEST_HANDSHAKE_WAIT(100);

// The library is initialised as long as the program runs.
void useLibrary() {
  static const int USED = mosquitto_lib_init();
  static_cast<void>(USED);
}

const char* given(const std::string& file) {
  return file.empty() ? nullptr : file.c_str();
}

constexpr char LOOPBACK[] = "127.0.0.1";

// A port of the program's own, from which nobody takes connections.
class OwnPort {
 public:
  OwnPort() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* const place = reinterpret_cast<sockaddr*>(&address);
    const bool isThere = bind(descriptor.get(), place, size) == 0 &&
                         listen(descriptor.get(), 1) == 0 &&
                         getsockname(descriptor.get(), place, &size) == 0;
    number = isThere ? ntohs(address.sin_port) : 0;
  }

  int getNumber() const { return number; }  // 0: there is none

 private:
  const FileDescriptor descriptor{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  int number = 0;
};

int connectToOneself(const BrokerTls& tls) {
  const OwnPort port;
  const MosquittoPtr client = makeMqttClient(nullptr, nullptr);
  if (!client || port.getNumber() == 0) {
    return MOSQ_ERR_NOMEM;
  }
  const int result = introduce(client.get(), std::nullopt, tls);
  return result == MOSQ_ERR_SUCCESS
             ? mosquitto_connect_async(client.get(), LOOPBACK, port.getNumber(), MQTT_KEEP_ALIVE)
             : result;
}

// The library sets itself up for TLS with its first connection, which has to be the only one then.
// That is one to the program itself: it looks up no name, for which the others would wait as well.
int useTls(const BrokerTls& tls) {
  static struct {
    Mutex mutex;
    bool isUsed GUARDED_BY(mutex) = false;
  } s_library;
  const LockGuard lock(s_library.mutex);
  if (s_library.isUsed) {
    return MOSQ_ERR_SUCCESS;
  }
  const int result = connectToOneself(tls);
  // What TLS refuses, the connection that is wanted tells better.
  s_library.isUsed = result == MOSQ_ERR_SUCCESS || result == MOSQ_ERR_TLS;
  return s_library.isUsed ? MOSQ_ERR_SUCCESS : result;
}

}  // namespace

MosquittoPtr makeMqttClient(const char* id, void* data) {
  useLibrary();
  MosquittoPtr client(mosquitto_new(id, true, data));
  if (client) {
    mosquitto_threaded_set(client.get(), true);
  }
  return client;
}

int introduce(mosquitto* client, const std::optional<BrokerLogin>& login,
              const std::optional<BrokerTls>& tls) {
  int result = MOSQ_ERR_SUCCESS;
  if (login) {
    result = mosquitto_username_pw_set(client, login->user.c_str(), login->password.c_str());
  }
  if (result == MOSQ_ERR_SUCCESS && tls) {
    // Nobody is there to be asked for a key's passphrase.
    result = mosquitto_tls_set(client, tls->ca.c_str(), nullptr, given(tls->certificate),
                               given(tls->key), [](char*, int, int, void*) { return 0; });
  }
  return result;
}

int connectTo(mosquitto* client, const BrokerAddress& host, const std::optional<BrokerTls>& tls) {
  const int result = tls ? useTls(*tls) : MOSQ_ERR_SUCCESS;
  return result == MOSQ_ERR_SUCCESS
             ? mosquitto_connect_async(client, host.host.c_str(), host.port, MQTT_KEEP_ALIVE)
             : result;
}

MqttBell::MqttBell() : descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!descriptor.isOpen()) {
    throw std::runtime_error("No descriptor for the connection to a broker");
  }
}

// It cannot fail: a bell that is full rings already.
void MqttBell::ring() const {
  static_cast<void>(eventfd_write(descriptor.get(), 1));
}

void MqttBell::silence() const {
  eventfd_t rung = 0;
  static_cast<void>(eventfd_read(descriptor.get(), &rung));
}

int MqttLoop::serve(std::chrono::milliseconds longest, bool isAnswered) {
  const int socket = mosquitto_socket(client);
  if (socket < 0) {
    return MOSQ_ERR_NO_CONN;
  }
  // While it agrees on TLS the library says that it wants to write, whoever's turn it is.
  const bool awaitsAnswer = hasWritten && !isAnswered;
  const bool wantsRoom = mosquitto_want_write(client) && !awaitsAnswer;
  // A negative descriptor is passed over.
  std::array<pollfd, 2> awaited{
      pollfd{.fd = socket,
             .events = static_cast<short>(wantsRoom ? POLLIN | POLLOUT : POLLIN),
             .revents = 0},
      pollfd{.fd = bell != nullptr ? bell->get() : -1, .events = POLLIN, .revents = 0}};
  const auto wait = std::clamp(longest, std::chrono::milliseconds(0),
                               awaitsAnswer ? LONGEST_HANDSHAKE_WAIT : LONGEST_WAIT);
  if (poll(awaited.data(), awaited.size(), static_cast<int>(wait.count())) < 0) {
    return errno == EINTR ? MOSQ_ERR_SUCCESS : MOSQ_ERR_ERRNO;
  }
  if ((awaited[1].revents & POLLIN) != 0) {
    bell->silence();
  }
  const bool hasNews = (awaited[0].revents & ~POLLOUT) != 0;
  isReached =
      isReached || (awaited[0].revents != 0 && (awaited[0].revents & (POLLERR | POLLHUP)) == 0);
  hasWritten = !hasNews && (hasWritten || (awaited[0].revents & POLLOUT) != 0);
  return exchange(hasNews);
}

// The library may stop between two messages (it does once it has noted some hundred answers, as
// nobody reads these notes here); what TLS has decrypted by then shows at no descriptor.
int MqttLoop::readAll() {
  int result = MOSQ_ERR_SUCCESS;
  bool hasMore = true;
  while (hasMore && result == MOSQ_ERR_SUCCESS) {
    result = mosquitto_loop_read(client, 1);
    const auto* tls = static_cast<const SSL*>(mosquitto_ssl_get(client));
    hasMore = tls != nullptr && SSL_pending(tls) > 0;
  }
  return result;
}

int MqttLoop::exchange(bool hasNews) {
  int result = hasNews ? readAll() : MOSQ_ERR_SUCCESS;
  if (result == MOSQ_ERR_SUCCESS && mosquitto_want_write(client)) {
    result = mosquitto_loop_write(client, 1);
  }
  return result == MOSQ_ERR_SUCCESS ? mosquitto_loop_misc(client) : result;
}

std::string nameOf(const BrokerAddress& host) {
  return "MQTT broker " + host.host + " port " + std::to_string(host.port);
}

}  // namespace device
