#include "onvif_client/camera_search.h"

#include <arpa/inet.h>
#include <gio/gio.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "base/file_descriptor.h"
#include "base/glib_ptr.h"
#include "onvif/discovery_message.h"
#include "onvif/envelope.h"
#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

constexpr char PROBE[] = "http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe";
constexpr char EVERYBODY[] = "urn:schemas-xmlsoap-org:ws:2005:04:discovery";
constexpr char SCOPE[] = "onvif://www.onvif.org/";
constexpr std::size_t LONGEST_DATAGRAM = 65536;
constexpr std::size_t MOST_CAMERAS = 1000;
constexpr std::size_t LONGEST_TEXT = 256;
constexpr XmlLimits LIMITS{.bytes = 65536, .depth = 16, .elements = 1024, .attributes = 64};
constexpr std::int64_t PAUSE = 700000;  // microseconds between two questions
constexpr int QUESTIONS = 3;
constexpr int LOOK = 50;  // milliseconds
constexpr std::size_t MOST_TRIALS = 200;
constexpr int TRIAL_SHARE = 4;  // of the patience

std::vector<std::string> wordsOf(const XmlElement& match, const char* name) {
  const auto child = match.child(ns::DISCOVERY, name);
  std::istringstream stream(child ? child->text() : "");
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

// What is left of the first scope of a kind; scopes are percent-encoded.
std::string scopeOf(const std::vector<std::string>& scopes, const std::string& kind) {
  const std::string begin = SCOPE + kind + "/";
  for (const std::string& scope : scopes) {
    if (scope.starts_with(begin)) {
      const GTextPtr text(g_uri_unescape_string(scope.c_str() + begin.size(), nullptr));
      const GTextPtr valid(g_utf8_make_valid(text ? text.get() : "", -1));
      return std::string(valid.get()).substr(0, LONGEST_TEXT);
    }
  }
  return "";
}

using UriPtr = std::unique_ptr<GUri, GDeleter<g_uri_unref>>;

// Cameras with several networks, or behind a translation, tell addresses that lead nowhere from
// here: whoever has answered is where the answer came from.
std::optional<std::string> addressAt(const std::string& sender, const std::string& told) {
  const UriPtr uri(g_uri_parse(told.c_str(), G_URI_FLAGS_ENCODED, nullptr));
  if (sender.empty() || !uri || g_uri_get_host(uri.get()) == nullptr) {
    return std::nullopt;
  }
  const GTextPtr joined(g_uri_join(G_URI_FLAGS_ENCODED, g_uri_get_scheme(uri.get()), nullptr,
                                   sender.c_str(), g_uri_get_port(uri.get()),
                                   g_uri_get_path(uri.get()), nullptr, nullptr));
  return joined.get();
}

void addSender(const std::string& sender, std::vector<std::string>* addresses) {
  const auto own = addresses->empty() ? std::nullopt : addressAt(sender, addresses->front());
  if (own && std::ranges::find(*addresses, *own) == addresses->end()) {
    addresses->push_back(*own);
  }
}

// An address that is tried.
struct Trial {
  std::string address;
  FileDescriptor socket;
  bool hasAnswered = false;
  bool isOver = false;
};

// Only numeric addresses: cameras tell no others, and a name's server may keep silent.
FileDescriptor beginConnection(const std::string& address) {
  constexpr int HTTP_PORT = 80;
  constexpr int HTTPS_PORT = 443;
  const UriPtr uri(g_uri_parse(address.c_str(), G_URI_FLAGS_ENCODED, nullptr));
  const char* host = uri ? g_uri_get_host(uri.get()) : nullptr;
  const GObjectPtr<GInetAddress> numeric(host != nullptr ? g_inet_address_new_from_string(host)
                                                         : nullptr);
  if (!numeric) {
    return FileDescriptor(-1);
  }
  const int usual = std::string(g_uri_get_scheme(uri.get())) == "https" ? HTTPS_PORT : HTTP_PORT;
  const int port = g_uri_get_port(uri.get()) > 0 ? g_uri_get_port(uri.get()) : usual;
  const GObjectPtr<GSocketAddress> target(
      g_inet_socket_address_new(numeric.get(), static_cast<guint16>(port)));
  sockaddr_storage native{};
  const gssize size = g_socket_address_get_native_size(target.get());
  g_socket_address_to_native(target.get(), &native, sizeof(native), nullptr);
  FileDescriptor socket(::socket(native.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (socket.get() >= 0 &&
      connect(socket.get(), reinterpret_cast<const sockaddr*>(&native),
              static_cast<socklen_t>(size)) != 0 &&
      errno != EINPROGRESS) {
    return FileDescriptor(-1);
  }
  return socket;
}

void look(std::vector<Trial>* trials, int milliseconds) {
  std::vector<pollfd> waiting;
  for (const Trial& trial : *trials) {
    waiting.push_back({trial.isOver ? -1 : trial.socket.get(), POLLOUT, 0});
  }
  if (poll(waiting.data(), waiting.size(), milliseconds) <= 0) {
    return;
  }
  for (std::size_t i = 0; i < waiting.size(); ++i) {
    if (waiting[i].revents != 0) {
      int trouble = 0;
      socklen_t length = sizeof(trouble);
      getsockopt(waiting[i].fd, SOL_SOCKET, SO_ERROR, &trouble, &length);
      (*trials)[i].hasAnswered = trouble == 0 && (waiting[i].revents & POLLOUT) != 0;
      (*trials)[i].isOver = true;
    }
  }
}

FoundCamera readMatch(const XmlElement& match) {
  const auto reference = match.child(ns::DISCOVERY_ADDRESSING, "EndpointReference");
  const auto endpoint =
      reference ? reference->child(ns::DISCOVERY_ADDRESSING, "Address") : std::nullopt;
  const std::vector<std::string> scopes = wordsOf(match, "Scopes");
  return {endpoint ? endpoint->text().substr(0, LONGEST_TEXT) : "", scopeOf(scopes, "name"),
          scopeOf(scopes, "hardware"), wordsOf(match, "XAddrs")};
}

// One for each address of this machine.
std::vector<FileDescriptor> openSockets() {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) {
    return {};
  }
  const std::unique_ptr<ifaddrs, GDeleter<freeifaddrs>> all(first);
  std::vector<FileDescriptor> sockets;
  for (const ifaddrs* one = first; one != nullptr; one = one->ifa_next) {
    if (one->ifa_addr == nullptr || one->ifa_addr->sa_family != AF_INET ||
        (one->ifa_flags & IFF_UP) == 0) {
      continue;
    }
    FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const in_addr own = reinterpret_cast<const sockaddr_in*>(one->ifa_addr)->sin_addr;
    if (socket.get() >= 0 &&
        setsockopt(socket.get(), IPPROTO_IP, IP_MULTICAST_IF, &own, sizeof(own)) == 0) {
      sockets.push_back(std::move(socket));
    }
  }
  return sockets;
}

void ask(const std::vector<FileDescriptor>& sockets, const std::string& probe) {
  sockaddr_in group{};
  group.sin_family = AF_INET;
  group.sin_port = htons(DISCOVERY_PORT);
  inet_pton(AF_INET, DISCOVERY_GROUP, &group.sin_addr);
  for (const FileDescriptor& socket : sockets) {
    sendto(socket.get(), probe.data(), probe.size(), 0, reinterpret_cast<const sockaddr*>(&group),
           sizeof(group));
  }
}

void take(std::vector<FoundCamera> matches, std::vector<FoundCamera>* found) {
  for (FoundCamera& match : matches) {
    const bool isNew =
        std::ranges::find(*found, match.endpoint, &FoundCamera::endpoint) == found->end();
    if (isNew && found->size() < MOST_CAMERAS) {
      found->push_back(std::move(match));
    }
  }
}

void receive(const std::vector<FileDescriptor>& sockets, const std::string& id,
             std::vector<FoundCamera>* found) {
  std::vector<pollfd> waiting;
  for (const FileDescriptor& socket : sockets) {
    waiting.push_back({socket.get(), POLLIN, 0});
  }
  if (poll(waiting.data(), waiting.size(), LOOK) <= 0) {
    return;
  }
  std::string datagram(LONGEST_DATAGRAM, '\0');
  for (const pollfd& one : waiting) {
    if ((one.revents & POLLIN) == 0) {
      continue;
    }
    sockaddr_in from{};
    socklen_t length = sizeof(from);
    const ssize_t size = recvfrom(one.fd, datagram.data(), datagram.size(), 0,
                                  reinterpret_cast<sockaddr*>(&from), &length);
    if (size > 0) {
      std::array<char, INET_ADDRSTRLEN> sender{};
      inet_ntop(AF_INET, &from.sin_addr, sender.data(), sender.size());
      take(readDiscoveryMatches({datagram.data(), static_cast<std::size_t>(size)}, id,
                                sender.data()),
           found);
    }
  }
}

}  // namespace

std::string discoveryProbe(const std::string& messageId) {
  return writeEnvelope(
      Tag("d:Probe",
          Tag("d:Types", Attribute("xmlns:dn", ns::NETWORK), "dn:NetworkVideoTransmitter")),
      {Tag("a:MessageID", messageId), Tag("a:To", EVERYBODY), Tag("a:Action", PROBE)});
}

std::vector<FoundCamera> readDiscoveryMatches(std::string_view datagram,
                                              const std::string& messageId,
                                              const std::string& sender) try {
  const XmlDocument document(datagram, LIMITS);
  const XmlElement root = document.root();
  const auto header = root.child(ns::SOAP, "Header");
  const auto relates = header ? header->child(ns::DISCOVERY_ADDRESSING, "RelatesTo") : std::nullopt;
  const auto body = root.child(ns::SOAP, "Body");
  const auto matches = body ? body->child(ns::DISCOVERY, "ProbeMatches") : std::nullopt;
  if (!relates || relates->text() != messageId || !matches) {
    return {};
  }
  std::vector<FoundCamera> found;
  for (const XmlElement& match : matches->children()) {
    FoundCamera camera = readMatch(match);
    if (match.is(ns::DISCOVERY, "ProbeMatch") && !camera.endpoint.empty() &&
        !camera.addresses.empty()) {
      addSender(sender, &camera.addresses);
      found.push_back(std::move(camera));
    }
  }
  return found;
} catch (const XmlError&) {
  return {};
}

void sortByAnswer(std::vector<FoundCamera>* cameras, std::chrono::milliseconds patience) {
  std::vector<Trial> trials;
  for (const FoundCamera& camera : *cameras) {
    for (const std::string& address : camera.addresses) {
      if (trials.size() < MOST_TRIALS) {
        trials.push_back({address, beginConnection(address)});
        trials.back().isOver = trials.back().socket.get() < 0;
      }
    }
  }
  const std::int64_t end = g_get_monotonic_time() + std::chrono::microseconds(patience).count();
  while (g_get_monotonic_time() < end && !std::ranges::all_of(trials, &Trial::isOver)) {
    look(&trials, LOOK);
  }
  std::set<std::string> answered;
  for (const Trial& trial : trials) {
    if (trial.hasAnswered) {
      answered.insert(trial.address);
    }
  }
  for (FoundCamera& camera : *cameras) {
    auto& all = camera.addresses;
    std::stable_partition(all.begin(), all.end(),
                          [&](const std::string& one) { return answered.contains(one); });
  }
}

std::vector<FoundCamera> findCameras(std::chrono::milliseconds patience) {
  const std::vector<FileDescriptor> sockets = openSockets();
  const GTextPtr random(g_uuid_string_random());
  const std::string id = std::string("urn:uuid:") + random.get();
  const std::string probe = discoveryProbe(id);
  const std::int64_t begin = g_get_monotonic_time();
  const std::int64_t end =
      begin + std::chrono::microseconds(patience - patience / TRIAL_SHARE).count();
  std::vector<FoundCamera> found;
  int asked = 0;
  for (std::int64_t now = begin; now < end; now = g_get_monotonic_time()) {
    if (asked < QUESTIONS && now - begin >= asked * PAUSE) {
      ask(sockets, probe);
      ++asked;
    }
    receive(sockets, id, &found);
  }
  sortByAnswer(&found, patience / TRIAL_SHARE);
  return found;
}

}  // namespace device::onvif
