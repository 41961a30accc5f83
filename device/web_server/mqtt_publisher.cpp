#include "web_server/mqtt_publisher.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

namespace device {

namespace {

constexpr std::chrono::seconds FAREWELL(1);
constexpr char ONLINE[] = "online";
constexpr char OFFLINE[] = "offline";
constexpr std::string_view SITES = "sites/";
constexpr std::string_view OWN_EVENTS = "MiruPlatform/SentrelVideo/";

int send(mosquitto* client, const std::string& topic, const std::string& payload, int qos,
         bool isRetained) {
  int id = 0;
  mosquitto_publish(client, &id, topic.c_str(), static_cast<int>(payload.size()), payload.data(),
                    qos, isRetained);
  return id;
}

// Always the same for one site: a broker that hung and comes back then ends the old connection, and
// its last will, before it takes the new one.
std::string clientId(const std::string& site) {
  return "sentrelvideo_" + site;
}

std::chrono::milliseconds untilNext(std::chrono::steady_clock::time_point due) {
  return std::chrono::ceil<std::chrono::milliseconds>(due - std::chrono::steady_clock::now());
}

}  // namespace

// One connection; each has a client of its own, so that nothing of an earlier one is sent after the
// present state.
struct MqttPublisher::Connection {
  MosquittoPtr client;
  bool answered = false;
  int refusal = 0;
  std::vector<int> acknowledged;  // messages, since settle()
  int lastAcknowledged = 0;
  int awaited = 0;       // the last "online", until it is acknowledged
  bool isTaken = false;  // one was, and none has been missing
  std::string fault;     // what the library told last; it knows more than its results

  explicit Connection(const std::string& site)
      : client(makeMqttClient(site.empty() ? nullptr : clientId(site).c_str(), this)) {
    if (!client) {
      return;
    }
    mosquitto_connect_callback_set(client.get(), [](mosquitto*, void* data, int code) {
      auto* self = static_cast<Connection*>(data);
      self->answered = code == 0;
      self->refusal = code;
    });
    mosquitto_publish_callback_set(client.get(), [](mosquitto*, void* data, int id) {
      static_cast<Connection*>(data)->acknowledged.push_back(id);
    });
    mosquitto_log_callback_set(client.get(),
                               [](mosquitto*, void* data, int level, const char* text) {
                                 if (level == MOSQ_LOG_ERR) {
                                   static_cast<Connection*>(data)->fault = text;
                                 }
                               });
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  std::string faultOf(int result) const {
    return fault.empty() ? mosquitto_strerror(result) : fault;
  }
};

MqttPublisher::MqttPublisher(Settings given)
    : settings(std::move(given)),
      availability(topicPrefix(settings.site) + AVAILABILITY),
      outbox(settings.outbox) {
  // What an earlier process has told, or left to tell, is no present value.
  const std::set<std::string>& topics = outbox.getTopics();
  std::vector<std::string> foreign;
  std::ranges::copy_if(topics, std::back_inserter(foreign),
                       [this](const std::string& topic) { return !isOwn(topic); });
  outbox.forgetTopics(foreign);
  for (const std::string& topic : topics) {
    cleared[topic] = 0;
  }
  for (const AlarmOutbox::Alarm& alarm : outbox.getWaiting()) {
    cleared[alarm.topic] = 0;
  }
  droppedTold = outbox.getDropped();
  thread = std::thread(&MqttPublisher::run, this);
}

MqttPublisher::~MqttPublisher() {
  {
    const LockGuard lock(mutex);
    stopping = true;
  }
  changed.notifyAll();
  bell.ring();
  thread.join();
}

void MqttPublisher::retain(const std::string& topic, const std::string& payload) {
  const LockGuard lock(mutex);
  outbox.keepTopic(topic);
  keep(topic, payload);
}

void MqttPublisher::retainBeyond(const std::string& topic, const std::string& payload) {
  const LockGuard lock(mutex);
  keep(topic, payload);
}

void MqttPublisher::keep(const std::string& topic, const std::string& payload) {
  retained[topic] = payload;
  cleared.erase(topic);
  if (connected != nullptr) {
    send(connected, topic, payload, MQTT_ONCE, true);
    bell.ring();
  }
}

void MqttPublisher::alarm(const std::string& topic, const std::string& payload) {
  const LockGuard lock(mutex);
  retained[topic] = payload;
  cleared.erase(topic);
  outbox.keepTopic(topic);
  const std::int64_t id = outbox.append(topic, payload);
  if (connected != nullptr) {
    sendAlarm(connected, {id, topic, payload});
    bell.ring();
  }
}

void MqttPublisher::sendAlarm(mosquitto* client, const AlarmOutbox::Alarm& alarm) {
  if (const std::string topic = topicForHistory(alarm.topic); !topic.empty()) {
    sendPart(client, alarm, topic, false);
    recent[alarm.id] = {alarm.id, topic, alarm.payload};
    if (recent.size() > AlarmOutbox::LIMIT) {
      recent.erase(recent.begin());
    }
  }
  sendPart(client, alarm, alarm.topic, true);
}

void MqttPublisher::sendPart(mosquitto* client, const AlarmOutbox::Alarm& alarm,
                             const std::string& topic, bool isRetained) {
  underway[send(client, topic, alarm.payload, MQTT_ONCE, isRetained)] = alarm.id;
  ++parts[alarm.id];
}

// Of a device that had another name, or none, the broker may take nothing.
bool MqttPublisher::isOwn(const std::string& topic) const {
  const std::string prefix = topicPrefix(settings.site);
  return prefix.empty() ? !topic.starts_with(SITES) : topic.starts_with(prefix);
}

// Empty where none is kept.
std::string MqttPublisher::topicForHistory(const std::string& topic) const {
  const std::string prefix = topicPrefix(settings.site);
  std::string own = prefix;
  own.append(OWN_EVENTS);
  return settings.site.empty() || !topic.starts_with(own)
             ? ""
             : prefix + ALARMS + topic.substr(own.size());
}

// Returns the number of the last message; 0: there was none.
int MqttPublisher::tellHistoryAgain(mosquitto* client) {
  int last = 0;
  for (const auto& [id, alarm] : earlier) {
    last = send(client, alarm.topic, alarm.payload, MQTT_ONCE, false);
  }
  earlier = std::exchange(recent, {});
  return last;
}

MqttPublisher::Health MqttPublisher::getHealth() {
  const LockGuard lock(mutex);
  return {.isConnected = connected != nullptr,
          .connects = connects,
          .waiting = outbox.getWaiting().size(),
          .dropped = outbox.getDropped(),
          .refusals = refusals};
}

void MqttPublisher::clear(const std::string& topic) {
  const LockGuard lock(mutex);
  if (retained.erase(topic) == 0) {
    return;
  }
  cleared[topic] = 0;
  clearing.erase(topic);  // it is cleared behind that
  if (connected != nullptr) {
    send(connected, topic, "", MQTT_ONCE, true);
    bell.ring();
  }
}

void MqttPublisher::publish(const std::string& topic, const std::string& payload) {
  const LockGuard lock(mutex);
  if (connected != nullptr) {
    send(connected, topic, payload, 0, false);
    bell.ring();
  }
}

std::vector<std::string> MqttPublisher::takeNews() {
  const LockGuard lock(mutex);
  for (const std::string& text : outbox.takeNews()) {
    news.push_back(text);
  }
  const std::uint64_t dropped = outbox.getDropped();
  if (std::exchange(droppedTold, dropped) != dropped) {
    news.push_back(nameOf(settings.hosts.front()) + ": " + std::to_string(dropped) +
                   " alarms were given up, as too many wait");
  }
  return std::exchange(news, {});
}

// Many devices have the same list: each site begins elsewhere in it, and always there.
void MqttPublisher::run() {
  const std::size_t count = settings.hosts.size();
  std::size_t next = settings.site.empty() ? 0 : std::hash<std::string>()(settings.site) % count;
  while (!isStopping()) {
    connectOnce(settings.hosts[next]);
    next = (next + 1) % count;
    pause();
  }
}

std::chrono::milliseconds MqttPublisher::pauseOf(std::chrono::milliseconds mean,
                                                 std::minstd_rand& chance) {
  std::uniform_real_distribution<double> share(0.5, 1.5);
  return std::chrono::duration_cast<std::chrono::milliseconds>(mean * share(chance));
}

// A node that has lost another one refuses everybody for some seconds: two tries cost little.
std::chrono::milliseconds MqttPublisher::meanPause(std::chrono::milliseconds shortest,
                                                   int refusals) {
  constexpr int CHEAP = 2;
  constexpr int MOST_DOUBLINGS = 3;
  return shortest * (1 << std::clamp(refusals - CHEAP, 0, MOST_DOUBLINGS));
}

void MqttPublisher::pause() {
  const LockGuard lock(mutex);
  const Clock::time_point end =
      Clock::now() + pauseOf(meanPause(settings.reconnect, refusals), chance);
  for (auto now = Clock::now(); !stopping && now < end; now = Clock::now()) {
    changed.waitFor(mutex, std::chrono::ceil<std::chrono::milliseconds>(end - now));
  }
}

void MqttPublisher::connectOnce(const BrokerAddress& host) {
  Connection connection(settings.site);
  if (!connection.client) {
    return tell(host, "no memory");
  }
  mosquitto_will_set(connection.client.get(), availability.c_str(), sizeof(OFFLINE) - 1, OFFLINE,
                     MQTT_ONCE, true);
  int result = introduce(connection.client.get(), settings.login, settings.tls);
  if (result == MOSQ_ERR_SUCCESS) {
    result = connectTo(connection.client.get(), host, settings.tls);
  }
  if (result != MOSQ_ERR_SUCCESS) {
    return tell(host, connection.faultOf(result));
  }
  serve(&connection, host);
  settle(&connection);
  const LockGuard lock(mutex);
  connected = nullptr;
  underway.clear();
  parts.clear();
}

void MqttPublisher::serve(Connection* connection, const BrokerAddress& host) {
  const Clock::time_point deadline = Clock::now() + settings.patience;
  bool announced = false;
  MqttLoop loop(connection->client.get(), &bell);
  // Who is not there has refused nobody, however long it was looked for. Who answers but takes
  // nothing has: a node that is overloaded, to which all would come back at once.
  const auto fail = [&](const std::string& why) {
    if (!connection->isTaken && loop.hasReached()) {
      refused();
    }
    tell(host, why);
  };
  Clock::time_point repetition;
  while (!isStopping()) {
    const int result =
        loop.serve(untilNext(announced ? repetition : deadline), connection->answered);
    settle(connection);
    if (connection->refusal != 0) {
      return fail(mosquitto_connack_string(connection->refusal));
    }
    if (result != MOSQ_ERR_SUCCESS) {
      return fail(connection->faultOf(result));
    }
    if (!announced && connection->answered) {
      tellConnected(host);
      announce(connection);
      announced = true;
      repetition = firstRepetition();
    }
    if (announced && Clock::now() >= repetition) {
      if (!tellAgain(connection)) {
        connection->isTaken = false;
        return fail("nothing is acknowledged");
      }
      repetition = Clock::now() + settings.repeat;
    }
    if (!announced && Clock::now() > deadline) {
      return fail("no answer");
    }
  }
  if (announced) {
    leave(connection);
  }
}

// From here on every change is sent as it comes; the lock keeps the order.
void MqttPublisher::announce(Connection* connection) {
  const LockGuard lock(mutex);
  mosquitto* client = connection->client.get();
  for (const AlarmOutbox::Alarm& alarm : outbox.getWaiting()) {
    sendAlarm(client, alarm);
  }
  tellAll(connection, true);
  connected = client;
  ++connects;
}

void MqttPublisher::tellAll(Connection* connection, bool isFirst) {
  mosquitto* client = connection->client.get();
  clearing.clear();
  for (const auto& [topic, acknowledged] : cleared) {
    if (isFirst || acknowledged < CLEARED_OFTEN) {
      send(client, topic, "", MQTT_ONCE, true);
      clearing.insert(topic);
    }
  }
  for (const auto& [topic, payload] : retained) {
    send(client, topic, payload, MQTT_ONCE, true);
  }
  connection->awaited = send(client, availability, ONLINE, MQTT_ONCE, true);
}

// Not to a host that answers but has acknowledged no "online" since: what it is told would only
// pile up, and an alarm would wait for ever.
bool MqttPublisher::tellAgain(Connection* connection) {
  if (connection->awaited != 0) {
    return false;
  }
  const LockGuard lock(mutex);
  tellHistoryAgain(connection->client.get());
  tellAll(connection, false);
  return true;
}

// Devices that have come back together tell theirs again at different times.
MqttPublisher::Clock::time_point MqttPublisher::firstRepetition() {
  std::uniform_real_distribution<double> share(0.5, 1);
  return Clock::now() +
         std::chrono::duration_cast<std::chrono::milliseconds>(settings.repeat * share(chance));
}

// What the broker has acknowledged waits no longer.
void MqttPublisher::settle(Connection* connection) {
  const std::vector<int> messages = std::exchange(connection->acknowledged, {});
  if (messages.empty()) {
    return;
  }
  connection->lastAcknowledged = messages.back();
  if (std::ranges::count(messages, connection->awaited) > 0) {
    connection->awaited = 0;
    connection->isTaken = true;
    taken();
  }
  const LockGuard lock(mutex);
  std::vector<std::int64_t> alarms;
  for (const int message : messages) {
    if (const auto found = underway.find(message); found != underway.end()) {
      if (--parts[found->second] == 0) {
        parts.erase(found->second);
        alarms.push_back(found->second);
      }
      underway.erase(found);
    }
  }
  outbox.acknowledge(alarms);
}

// Messages are acknowledged in the order in which they were sent. What a history was told once has
// no other turn; it stands behind the rest, as it may be too much for the time that there is.
void MqttPublisher::leave(Connection* connection) {
  mosquitto* client = connection->client.get();
  int last = 0;
  {
    const LockGuard lock(mutex);
    connected = nullptr;
    for (const auto& [topic, payload] : retained) {
      send(client, topic, "", MQTT_ONCE, true);
    }
    last = send(client, availability, OFFLINE, MQTT_ONCE, true);
    const int early = tellHistoryAgain(client);
    const int late = tellHistoryAgain(client);
    last = late != 0 ? late : early != 0 ? early : last;
  }
  const Clock::time_point deadline = Clock::now() + FAREWELL;
  MqttLoop loop(client);
  while (connection->lastAcknowledged != last && Clock::now() < deadline &&
         loop.serve(untilNext(deadline), true) == MOSQ_ERR_SUCCESS) {
    settle(connection);
  }
  if (connection->lastAcknowledged == last) {
    const LockGuard lock(mutex);
    outbox.forgetTopics({outbox.getTopics().begin(), outbox.getTopics().end()});
  }
  mosquitto_disconnect(client);
  loop.serve(std::chrono::milliseconds(0), true);
}

bool MqttPublisher::isStopping() {
  const LockGuard lock(mutex);
  return stopping;
}

// The same again and again, as while a broker is away, is told once.
void MqttPublisher::tell(const BrokerAddress& host, const std::string& what) {
  const std::string name = nameOf(host);
  const LockGuard lock(mutex);
  if (std::exchange(lastNews[name], what) != what) {
    news.push_back(name + ": " + what);
  }
}

void MqttPublisher::refused() {
  const LockGuard lock(mutex);
  ++refusals;
}

// All that was sent before has been acknowledged, too.
void MqttPublisher::taken() {
  const LockGuard lock(mutex);
  refusals = 0;
  std::vector<std::string> gone;
  for (const std::string& topic : std::exchange(clearing, {})) {
    const auto found = cleared.find(topic);
    if (found != cleared.end() && ++found->second == CLEARED_OFTEN) {
      gone.push_back(topic);
    }
  }
  outbox.forgetTopics(gone);
}

void MqttPublisher::tellConnected(const BrokerAddress& host) {
  const LockGuard lock(mutex);
  lastNews.clear();
  news.push_back(nameOf(host) + ": connected");
}

}  // namespace device
