#ifndef DEVICE_WEB_SERVER_MQTT_PUBLISHER_H
#define DEVICE_WEB_SERVER_MQTT_PUBLISHER_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "web_server/alarm_outbox.h"
#include "web_server/broker_options.h"
#include "web_server/mqtt_client.h"

namespace device {

// Publishes to a broker, on a thread of its own, so that a broker that hangs or is not there holds
// up nobody. What is retained is kept here as well: after each new connection all of it is
// published again and what was cleared meanwhile is cleared there, so that the broker has the
// present state whatever it lost. Of alarms, each value is told, in order, until the broker has
// acknowledged it: the outbox holds them while there is no connection, and those of an earlier
// process. Messages that are not retained are for those who listen now;
// without a connection they are dropped.
//
// Of a site, each alarm goes beside that below ALARMS, where nothing is retained or told again with
// the present values, for whoever keeps a history. It goes there a second time, a minute or two
// later, or when the device leaves: a cluster acknowledges it also while nobody is there who keeps
// it.
//
// AVAILABILITY, below the site, tells whether the device is there: "online", and by the broker's
// own hand "offline" once the connection is lost. All functions may be called from any thread and
// return at once.
class MqttPublisher {
 public:
  static constexpr char AVAILABILITY[] = "SentrelVideo/device";
  static constexpr char ALARMS[] = "SentrelVideo/alarms/";

  struct Settings {
    BrokerHosts hosts = {};  // at least one; the next one with each try, all devices alike
    std::string site =
        {};  // the client's name is its; without: another random one for each connection
    std::optional<BrokerLogin> login = {};
    std::optional<BrokerTls> tls = {};
    std::filesystem::path outbox = {};  // its file; without: in memory
    // Mean pause between two tries; half of it to one and a half, by chance, so that many devices
    // do not come all at once. It grows up to eight times while hosts that are there do not take
    // the connection: they have too many to take, and each try costs them time.
    std::chrono::milliseconds reconnect = std::chrono::seconds(2);
    // For a broker's answer to a new connection.
    std::chrono::milliseconds patience = std::chrono::seconds(10);
    // After it all that is retained is told again, and "online": a cluster may acknowledge what it
    // has not stored, and who dies together with its broker has no last will but its silence. A
    // host that has not acknowledged them by the next time is left.
    std::chrono::milliseconds repeat = std::chrono::seconds(60);
  };

  // Throws std::runtime_error when the outbox's file cannot be used.
  explicit MqttPublisher(Settings settings);
  MqttPublisher(const MqttPublisher&) = delete;
  MqttPublisher& operator=(const MqttPublisher&) = delete;

  // Clears what is retained, tells "offline" and leaves the broker; waits a second at most for its
  // acknowledgement.
  ~MqttPublisher();

  // A value of this process: of one that is killed the next one clears what it does not tell.
  void retain(const std::string& topic, const std::string& payload);
  // What is not of this process alone: the next one leaves it as it is until it tells it.
  void retainBeyond(const std::string& topic, const std::string& payload);
  // As retain, for what is not to be missed.
  void alarm(const std::string& topic, const std::string& payload);
  void clear(const std::string& topic);
  void publish(const std::string& topic, const std::string& payload);

  struct Health {
    bool isConnected = false;
    std::uint64_t connects = 0;  // since the start
    std::size_t waiting = 0;     // alarms that are not acknowledged
    std::uint64_t dropped = 0;   // alarms given up since the outbox was made
    int refusals = 0;            // tries in a row at hosts that were there and took nothing
  };
  Health getHealth();

  // Before the next try; refusals as in Health.
  static std::chrono::milliseconds meanPause(std::chrono::milliseconds shortest, int refusals);
  static std::chrono::milliseconds pauseOf(std::chrono::milliseconds mean,
                                           std::minstd_rand& chance);

  // What the user should know of the connection since the last call.
  std::vector<std::string> takeNews();

 private:
  struct Connection;
  using Clock = std::chrono::steady_clock;

  void run();
  void connectOnce(const BrokerAddress& host);
  void serve(Connection* connection, const BrokerAddress& host);
  void keep(const std::string& topic, const std::string& payload) REQUIRES(mutex);
  void sendAlarm(mosquitto* client, const AlarmOutbox::Alarm& alarm) REQUIRES(mutex);
  void sendPart(mosquitto* client, const AlarmOutbox::Alarm& alarm, const std::string& topic,
                bool isRetained) REQUIRES(mutex);
  bool isOwn(const std::string& topic) const;
  std::string topicForHistory(const std::string& topic) const;
  int tellHistoryAgain(mosquitto* client) REQUIRES(mutex);
  void settle(Connection* connection) EXCLUDES(mutex);
  void taken() EXCLUDES(mutex);
  void announce(Connection* connection) EXCLUDES(mutex);
  void tellAll(Connection* connection, bool isFirst) REQUIRES(mutex);
  bool tellAgain(Connection* connection) EXCLUDES(mutex);
  Clock::time_point firstRepetition();
  void leave(Connection* connection) EXCLUDES(mutex);
  bool isStopping() EXCLUDES(mutex);
  void pause() EXCLUDES(mutex);
  void refused() EXCLUDES(mutex);
  void tell(const BrokerAddress& host, const std::string& what) EXCLUDES(mutex);
  void tellConnected(const BrokerAddress& host) EXCLUDES(mutex);

  const Settings settings;
  const std::string availability;
  const MqttBell bell;                              // something is to be sent, or the end has come
  std::minstd_rand chance{std::random_device()()};  // the thread's

  Mutex mutex;
  Condition changed;
  bool stopping GUARDED_BY(mutex) = false;

  // Set while the broker has answered and is there.
  mosquitto* connected GUARDED_BY(mutex) = nullptr;
  std::uint64_t connects GUARDED_BY(mutex) = 0;
  int refusals GUARDED_BY(mutex) = 0;
  std::map<std::string, std::string> retained GUARDED_BY(mutex);
  // Cleared and not retained since, or of an earlier process, and how often an "online" that was
  // sent behind that was acknowledged. They are cleared again with each new connection, as the old
  // one may have been dead already when they were, and once more, as a value is.
  static constexpr int CLEARED_OFTEN = 2;
  std::map<std::string, int> cleared GUARDED_BY(mutex);
  std::set<std::string> clearing GUARDED_BY(mutex);  // those before the last "online"
  AlarmOutbox outbox GUARDED_BY(mutex);
  std::uint64_t droppedTold GUARDED_BY(mutex) = 0;
  // Alarms by the number of a message that carries them over the present connection, and how many
  // messages of each are not acknowledged.
  std::map<int, std::int64_t> underway GUARDED_BY(mutex);
  std::map<std::int64_t, int> parts GUARDED_BY(mutex);
  // Alarms that a history was told since the last repetition, and between the one before and that.
  std::map<std::int64_t, AlarmOutbox::Alarm> recent GUARDED_BY(mutex);
  std::map<std::int64_t, AlarmOutbox::Alarm> earlier GUARDED_BY(mutex);
  std::vector<std::string> news GUARDED_BY(mutex);
  // By host, since the last connection.
  std::map<std::string, std::string> lastNews GUARDED_BY(mutex);

  std::thread thread;
};

}  // namespace device

#endif
