#include "onvif_server/discovery_responder.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>
#include <utility>

#include "base/units.h"
#include "services/local_socket.h"

namespace device::onvif {

struct DiscoveryResponder::Waiting {
  DiscoveryResponder* owner;
  DiscoveryQuestion question;
  GObjectPtr<GSocketAddress> asker;
  GSourcePtr timer;
};

namespace {

constexpr std::size_t LONGEST_DATAGRAM = 65536;

void require(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(std::string("Discovery: cannot ") + what + ": " + g_strerror(errno));
  }
}

// Only what is sent to the group on the one network is heard: the group's own address is bound, and
// groups that others on this machine have joined elsewhere are left out.
GObjectPtr<GSocket> join(const std::string& address) {
  GObjectPtr<GSocket> socket(
      g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_DATAGRAM, G_SOCKET_PROTOCOL_UDP, nullptr));
  require(socket != nullptr, "make a socket");
  g_socket_set_blocking(socket.get(), FALSE);
  const int descriptor = g_socket_get_fd(socket.get());
  constexpr int ON = 1;
  constexpr int OFF = 0;
  ip_mreq membership{};
  inet_pton(AF_INET, DISCOVERY_GROUP, &membership.imr_multiaddr);
  require(inet_pton(AF_INET, address.c_str(), &membership.imr_interface) == 1,
          "use any address but one of IPv4");
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &ON, sizeof(ON));
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEPORT, &ON, sizeof(ON));
  setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_ALL, &OFF, sizeof(OFF));
  sockaddr_in own{};
  own.sin_family = AF_INET;
  own.sin_port = htons(DISCOVERY_PORT);
  own.sin_addr = membership.imr_multiaddr;
  require(bind(descriptor, reinterpret_cast<const sockaddr*>(&own), sizeof(own)) == 0, "listen");
  require(
      setsockopt(descriptor, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof(membership)) == 0,
      "join the group");
  setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &membership.imr_interface,
             sizeof(membership.imr_interface));
  return socket;
}

}  // namespace

DiscoveryResponder::DiscoveryResponder(std::string address, std::uint16_t port, std::string path,
                                       std::string endpoint, std::vector<std::string> scopes,
                                       Delay delay)
    : address(std::move(address)),
      port(port),
      path(std::move(path)),
      device{std::move(endpoint), std::move(scopes), ""},
      delay(std::move(delay)),
      sequence{g_get_real_time() / units::MICROSECONDS_PER_SECOND, 0},
      socket(join(this->address)),
      group(g_inet_socket_address_new_from_string(DISCOVERY_GROUP, DISCOVERY_PORT)),
      source(watchSocket(socket.get(), G_IO_IN, readable, this)) {
  ++sequence.number;
  send(group.get(), discoveryHello(deviceFor(group.get()), sequence));
}

DiscoveryResponder::~DiscoveryResponder() {
  ++sequence.number;
  send(group.get(), discoveryBye(device, sequence));
}

guint DiscoveryResponder::delayOfChance() {
  return static_cast<guint>(g_random_int_range(0, MOST_DELAY));
}

std::size_t DiscoveryResponder::waitingAnswers() const {
  return waiting.size();
}

gboolean DiscoveryResponder::readable(GSocket*, GIOCondition, gpointer data) {
  auto* self = static_cast<DiscoveryResponder*>(data);
  for (int i = 0; i < PER_TURN; ++i) {
    if (!self->readOne()) {
      break;
    }
  }
  return G_SOURCE_CONTINUE;
}

bool DiscoveryResponder::readOne() {
  std::string datagram(LONGEST_DATAGRAM, '\0');
  GSocketAddress* from = nullptr;
  const gssize size = g_socket_receive_from(socket.get(), &from, datagram.data(), datagram.size(),
                                            nullptr, nullptr);
  GObjectPtr<GSocketAddress> asker(from);
  if (size < 0 || !asker) {
    return false;
  }
  datagram.resize(static_cast<std::size_t>(size));
  const auto question = readDiscoveryQuestion(datagram);
  if (question && isMeant(*question, device) && waiting.size() < MOST_WAITING) {
    answerLater(*question, std::move(asker));
  }
  return true;
}

void DiscoveryResponder::answerLater(const DiscoveryQuestion& question,
                                     GObjectPtr<GSocketAddress> asker) {
  Waiting& entry = waiting.emplace_back(Waiting{this, question, std::move(asker), nullptr});
  entry.timer = startTimer(delay(), due, &entry);
}

gboolean DiscoveryResponder::due(gpointer data) {
  auto* entry = static_cast<Waiting*>(data);
  DiscoveryResponder* self = entry->owner;
  ++self->sequence.number;
  self->send(entry->asker.get(),
             discoveryAnswer(entry->question, self->deviceFor(entry->asker.get()), self->sequence));
  self->waiting.remove_if([&](const Waiting& each) { return &each == entry; });
  return G_SOURCE_REMOVE;
}

// Where the asker reaches the services: the address from which this machine would answer it.
DiscoveryDevice DiscoveryResponder::deviceFor(GSocketAddress* asker) const {
  DiscoveryDevice result = device;
  std::string own = address;
  if (own == "0.0.0.0") {
    const GObjectPtr<GSocket> probe(
        g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_DATAGRAM, G_SOCKET_PROTOCOL_UDP, nullptr));
    if (probe && g_socket_connect(probe.get(), asker, nullptr, nullptr) != FALSE) {
      const GObjectPtr<GSocketAddress> local(g_socket_get_local_address(probe.get(), nullptr));
      const GTextPtr text(g_inet_address_to_string(
          g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(local.get()))));
      own = text.get();
    }
  }
  result.xaddrs = "http://" + own + ':' + std::to_string(port) + path;
  return result;
}

// What does not get through is asked for again.
void DiscoveryResponder::send(GSocketAddress* to, const std::string& text) const {
  g_socket_send_to(socket.get(), to, text.data(), text.size(), nullptr, nullptr);
}

}  // namespace device::onvif
