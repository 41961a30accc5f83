#ifndef DEVICE_WEB_SERVER_MQTT_CLIENT_H
#define DEVICE_WEB_SERVER_MQTT_CLIENT_H

#include <mosquitto.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "base/file_descriptor.h"
#include "base/glib_ptr.h"
#include "web_server/broker_options.h"

namespace device {

using MosquittoPtr = std::unique_ptr<mosquitto, GDeleter<mosquitto_destroy>>;

inline constexpr int MQTT_ONCE = 1;  // QoS: at least once
// Seconds. The broker takes a silent client for gone after 1.5 times, the client a silent broker
// after twice; the library takes no less.
inline constexpr int MQTT_KEEP_ALIVE = 5;

// A client with a clean session, for use on one thread while others publish; null when there is no
// memory. id: null for any.
MosquittoPtr makeMqttClient(const char* id, void* data);

// Tells the client how to log in, before it connects. Returns the library's result.
int introduce(mosquitto* client, const std::optional<BrokerLogin>& login,
              const std::optional<BrokerTls>& tls);

// Begins to connect and does not wait for the broker's answer. Returns the library's result.
int connectTo(mosquitto* client, const BrokerAddress& host, const std::optional<BrokerTls>& tls);

// Rings for the thread that serves a client, from any other; rung meanwhile it is not missed.
class MqttBell {
 public:
  MqttBell();  // throws std::runtime_error when there are no more descriptors

  void ring() const;
  void silence() const;
  int get() const { return descriptor.get(); }

 private:
  FileDescriptor descriptor;
};

// In place of the library's own loop, which selects and so ends a connection whose descriptor is
// beyond the first 1024, and never rests while a host is silent that is to answer by TLS.
class MqttLoop {
 public:
  // Neither is owned; without a bell it hears the broker only.
  explicit MqttLoop(mosquitto* client, const MqttBell* bell = nullptr)
      : client(client), bell(bell) {}

  // Waits for the broker, the bell or so long, then reads, writes and looks after the connection,
  // for which it has to be called once a second. isAnswered: the broker has taken the connection.
  // Returns the library's result.
  int serve(std::chrono::milliseconds longest, bool isAnswered);

  // Whether there is somebody who takes connections, whatever became of this one.
  bool hasReached() const { return isReached; }

 private:
  int readAll();
  int exchange(bool hasNews);

  mosquitto* const client;
  const MqttBell* const bell;
  bool isReached = false;
  bool hasWritten = false;  // all that there is to be written before the host says something
};

// For the user.
std::string nameOf(const BrokerAddress& host);

}  // namespace device

#endif
