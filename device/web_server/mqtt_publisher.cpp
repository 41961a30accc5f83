#include "web_server/mqtt_publisher.h"

#include <mosquitto.h>

#include <memory>
#include <utility>

namespace device {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int ONCE = 1;  // QoS: at least once, for what is retained
constexpr int KEEP_ALIVE =
    15;  // seconds; the broker takes a silent device for gone after 1.5 times
constexpr int LOOP_MS = 100;
constexpr std::chrono::seconds FAREWELL(1);
constexpr char ONLINE[] = "online";
constexpr char OFFLINE[] = "offline";

struct MosquittoDeleter {
  void operator()(mosquitto* client) const { mosquitto_destroy(client); }
};

// The library is initialised as long as the program runs.
void useLibrary() {
  static const int USED = mosquitto_lib_init();
  static_cast<void>(USED);
}

int send(mosquitto* client, const std::string& topic, const std::string& payload, int qos,
         bool isRetained) {
  int id = 0;
  mosquitto_publish(client, &id, topic.c_str(), static_cast<int>(payload.size()), payload.data(),
                    qos, isRetained);
  return id;
}

}  // namespace

// One connection; each has a client of its own, so that nothing of an earlier one is sent after the
// present state.
struct MqttPublisher::Connection {
  std::unique_ptr<mosquitto, MosquittoDeleter> client;
  bool answered = false;
  int refusal = 0;
  int lastAcknowledged = 0;

  Connection() : client(mosquitto_new(nullptr, true, this)) {
    if (!client) {
      return;
    }
    mosquitto_threaded_set(client.get(), true);
    mosquitto_connect_callback_set(client.get(), [](mosquitto*, void* data, int code) {
      auto* self = static_cast<Connection*>(data);
      self->answered = code == 0;
      self->refusal = code;
    });
    mosquitto_publish_callback_set(client.get(), [](mosquitto*, void* data, int id) {
      static_cast<Connection*>(data)->lastAcknowledged = id;
    });
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
};

MqttPublisher::MqttPublisher(BrokerAddress broker, std::chrono::milliseconds reconnect,
                             std::chrono::milliseconds patience)
    : broker(std::move(broker)), reconnect(reconnect), patience(patience) {
  useLibrary();
  thread = std::thread(&MqttPublisher::run, this);
}

MqttPublisher::~MqttPublisher() {
  {
    const LockGuard lock(mutex);
    stopping = true;
  }
  changed.notifyAll();
  thread.join();
}

void MqttPublisher::retain(const std::string& topic, const std::string& payload) {
  const LockGuard lock(mutex);
  retained[topic] = payload;
  cleared.erase(topic);
  if (connected != nullptr) {
    send(connected, topic, payload, ONCE, true);
  }
}

void MqttPublisher::clear(const std::string& topic) {
  const LockGuard lock(mutex);
  if (retained.erase(topic) == 0) {
    return;
  }
  cleared.insert(topic);
  if (connected != nullptr) {
    send(connected, topic, "", ONCE, true);
  }
}

void MqttPublisher::publish(const std::string& topic, const std::string& payload) {
  const LockGuard lock(mutex);
  if (connected != nullptr) {
    send(connected, topic, payload, 0, false);
  }
}

std::vector<std::string> MqttPublisher::takeNews() {
  const LockGuard lock(mutex);
  return std::exchange(news, {});
}

void MqttPublisher::run() {
  while (!isStopping()) {
    connectOnce();
    pause();
  }
}

void MqttPublisher::pause() {
  const Clock::time_point end = Clock::now() + reconnect;
  const LockGuard lock(mutex);
  for (auto now = Clock::now(); !stopping && now < end; now = Clock::now()) {
    changed.waitFor(mutex, std::chrono::ceil<std::chrono::milliseconds>(end - now));
  }
}

void MqttPublisher::connectOnce() {
  Connection connection;
  if (!connection.client) {
    return tell("no memory");
  }
  mosquitto_will_set(connection.client.get(), AVAILABILITY, sizeof(OFFLINE) - 1, OFFLINE, ONCE,
                     true);
  const int result = mosquitto_connect_async(connection.client.get(), broker.host.c_str(),
                                             broker.port, KEEP_ALIVE);
  if (result != MOSQ_ERR_SUCCESS) {
    return tell(mosquitto_strerror(result));
  }
  serve(&connection);
  const LockGuard lock(mutex);
  connected = nullptr;
}

void MqttPublisher::serve(Connection* connection) {
  const Clock::time_point deadline = Clock::now() + patience;
  bool announced = false;
  while (!isStopping()) {
    const int result = mosquitto_loop(connection->client.get(), LOOP_MS, 1);
    if (connection->refusal != 0) {
      return tell(mosquitto_connack_string(connection->refusal));
    }
    if (result != MOSQ_ERR_SUCCESS) {
      return tell(mosquitto_strerror(result));
    }
    if (!announced && connection->answered) {
      announce(connection);
      announced = true;
    }
    if (!announced && Clock::now() > deadline) {
      return tell("no answer");
    }
  }
  if (announced) {
    leave(connection);
  }
}

// From here on every change is sent as it comes; the lock keeps the order.
void MqttPublisher::announce(Connection* connection) {
  tell("connected");
  const LockGuard lock(mutex);
  mosquitto* client = connection->client.get();
  for (const std::string& topic : cleared) {
    send(client, topic, "", ONCE, true);
  }
  for (const auto& [topic, payload] : retained) {
    send(client, topic, payload, ONCE, true);
  }
  send(client, AVAILABILITY, ONLINE, ONCE, true);
  connected = client;
}

// Messages are acknowledged in the order in which they were sent.
void MqttPublisher::leave(Connection* connection) {
  mosquitto* client = connection->client.get();
  int last = 0;
  {
    const LockGuard lock(mutex);
    connected = nullptr;
    for (const auto& [topic, payload] : retained) {
      send(client, topic, "", ONCE, true);
    }
    last = send(client, AVAILABILITY, OFFLINE, ONCE, true);
  }
  const Clock::time_point deadline = Clock::now() + FAREWELL;
  while (connection->lastAcknowledged != last && Clock::now() < deadline &&
         mosquitto_loop(client, LOOP_MS, 1) == MOSQ_ERR_SUCCESS) {
  }
  mosquitto_disconnect(client);
  mosquitto_loop(client, 0, 1);
}

bool MqttPublisher::isStopping() {
  const LockGuard lock(mutex);
  return stopping;
}

// The same again and again, as while a broker is away, is told once.
void MqttPublisher::tell(const std::string& what) {
  const std::string text =
      "MQTT broker " + broker.host + " port " + std::to_string(broker.port) + ": " + what;
  const LockGuard lock(mutex);
  if (text == lastNews) {
    return;
  }
  lastNews = text;
  news.push_back(text);
}

}  // namespace device
