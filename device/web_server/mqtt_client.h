#ifndef DEVICE_WEB_SERVER_MQTT_CLIENT_H
#define DEVICE_WEB_SERVER_MQTT_CLIENT_H

#include <mosquitto.h>

#include <memory>
#include <optional>
#include <string>

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

// For the user.
std::string nameOf(const BrokerAddress& host);

}  // namespace device

#endif
