#include "web_server/mqtt_client.h"

namespace device {

namespace {

// The library is initialised as long as the program runs.
void useLibrary() {
  static const int USED = mosquitto_lib_init();
  static_cast<void>(USED);
}

const char* given(const std::string& file) {
  return file.empty() ? nullptr : file.c_str();
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

// The first that connects by TLS sets the library up for it, which the library does not guard.
int connectTo(mosquitto* client, const BrokerAddress& host, const std::optional<BrokerTls>& tls) {
  const auto connect = [&] {
    return mosquitto_connect_async(client, host.host.c_str(), host.port, MQTT_KEEP_ALIVE);
  };
  bool isFirst = false;
  if (tls) {
    static const int FIRST_RESULT = [&] {
      isFirst = true;
      return connect();
    }();
    if (isFirst) {
      return FIRST_RESULT;
    }
  }
  return connect();
}

std::string nameOf(const BrokerAddress& host) {
  return "MQTT broker " + host.host + " port " + std::to_string(host.port);
}

}  // namespace device
