#include "fleet/fleet_listener.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "web_server/mqtt_client.h"

namespace device {

namespace {

using Clock = std::chrono::steady_clock;

constexpr char ALL_SITES[] = "sites/#";
constexpr int AT_MOST_ONCE = 0;  // QoS
constexpr std::chrono::milliseconds LONGEST_WAIT(100);
constexpr int REFUSED = 0x80;  // of a subscription
constexpr std::chrono::seconds PATIENCE(10);
constexpr std::chrono::milliseconds PAUSE(1000);
constexpr int MOST_DOUBLINGS = 3;

}  // namespace

// A cluster that is disturbed may refuse a subscription: then the next host is asked.
struct FleetListener::Connection {
  explicit Connection(std::function<void(Message)> take)
      : take(std::move(take)), client(makeMqttClient(nullptr, this)) {
    if (!client) {
      return;
    }
    mosquitto_connect_callback_set(client.get(), [](mosquitto* client, void* data, int code) {
      static_cast<Connection*>(data)->refusal = code;
      if (code == 0) {
        mosquitto_subscribe(client, nullptr, ALL_SITES, AT_MOST_ONCE);
      }
    });
    mosquitto_subscribe_callback_set(
        client.get(), [](mosquitto*, void* data, int, int count, const int* granted) {
          auto* self = static_cast<Connection*>(data);
          self->isSubscribed = count > 0 && granted[0] < REFUSED;
          self->isRefused = !self->isSubscribed;
          self->heard = Clock::now();
        });
    mosquitto_message_callback_set(
        client.get(), [](mosquitto*, void* data, const mosquitto_message* message) {
          auto* self = static_cast<Connection*>(data);
          if (!message->retain) {
            self->heard = Clock::now();
            self->hasHeard = true;
          }
          self->take({message->topic,
                      std::string(static_cast<const char*>(message->payload),
                                  static_cast<std::size_t>(message->payloadlen)),
                      message->retain});
        });
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  std::function<void(Message)> take;
  MosquittoPtr client;
  int refusal = 0;
  bool isSubscribed = false;
  bool isRefused = false;
  bool hasHeard = false;    // a site; what the host repeats is no word of one
  Clock::time_point heard;  // then, or since it is subscribed
};

FleetListener::FleetListener(BrokerHosts hosts, const BrokerOptions& options,
                             std::chrono::milliseconds silence)
    : hosts(std::move(hosts)), login(options.login), tls(options.tls), silence(silence) {
  thread = std::thread(&FleetListener::run, this);
}

FleetListener::~FleetListener() {
  {
    const LockGuard lock(mutex);
    stopping = true;
  }
  changed.notifyAll();
  thread.join();
}

std::vector<FleetListener::Message> FleetListener::takeMessages() {
  const LockGuard lock(mutex);
  return std::exchange(messages, {});
}

std::vector<std::string> FleetListener::takeNews() {
  const LockGuard lock(mutex);
  return std::exchange(news, {});
}

void FleetListener::run() {
  for (std::size_t next = 0; !isStopping(); next = (next + 1) % hosts.size()) {
    const std::string fault = listen(hosts[next]);
    keep({});
    if (!fault.empty()) {
      tell(nameOf(hosts[next]) + ": " + fault);
    }
    pause();
  }
}

// Returns why it has ended; empty when it was told to, or that is no news.
std::string FleetListener::listen(const BrokerAddress& host) {
  Connection connection([this](Message message) { keep(std::move(message)); });
  mosquitto* client = connection.client.get();
  if (client == nullptr) {
    return "no memory";
  }
  int result = introduce(client, login, tls);
  if (result == MOSQ_ERR_SUCCESS) {
    result = connectTo(client, host, tls);
  }
  const Clock::time_point deadline = Clock::now() + PATIENCE;
  bool isTold = false;
  MqttLoop loop(client);
  while (result == MOSQ_ERR_SUCCESS && !isStopping()) {
    result = loop.serve(LONGEST_WAIT, connection.isSubscribed);
    if (connection.refusal != 0) {
      return mosquitto_connack_string(connection.refusal);
    }
    if (connection.isRefused) {
      return "the subscription was refused";
    }
    if (connection.hasHeard) {
      silences = 0;
    }
    if (connection.isSubscribed && silences == 0 && !std::exchange(isTold, true)) {
      tell(nameOf(host) + ": connected");
    }
    if (!connection.isSubscribed && Clock::now() > deadline) {
      return "no answer";
    }
    if (connection.isSubscribed &&
        Clock::now() - connection.heard > silence * (1 << std::min(silences, MOST_DOUBLINGS))) {
      return silences++ == 0 ? "no site was heard" : "";
    }
  }
  return result == MOSQ_ERR_SUCCESS ? "" : mosquitto_strerror(result);
}

void FleetListener::keep(Message message) {
  const LockGuard lock(mutex);
  messages.push_back(std::move(message));
}

void FleetListener::tell(const std::string& text) {
  const LockGuard lock(mutex);
  if (std::exchange(lastNews, text) != text) {
    news.push_back(text);
  }
}

bool FleetListener::isStopping() {
  const LockGuard lock(mutex);
  return stopping;
}

void FleetListener::pause() {
  const Clock::time_point end = Clock::now() + PAUSE;
  const LockGuard lock(mutex);
  for (auto now = Clock::now(); !stopping && now < end; now = Clock::now()) {
    changed.waitFor(mutex, std::chrono::ceil<std::chrono::milliseconds>(end - now));
  }
}

}  // namespace device
