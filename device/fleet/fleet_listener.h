#ifndef DEVICE_FLEET_FLEET_LISTENER_H
#define DEVICE_FLEET_FLEET_LISTENER_H

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "web_server/broker_options.h"

namespace device {

// Listens to all sites at one broker, on a thread of its own; with each new connection, to the next
// of the broker's hosts. All functions may be called from any thread and return at once.
class FleetListener {
 public:
  struct Message {
    std::string topic;  // empty: the connection was lost, or has been made anew
    std::string payload;
    bool isRetained = false;  // told before there was this connection
  };

  FleetListener(BrokerHosts hosts, const BrokerOptions& options);
  FleetListener(const FleetListener&) = delete;
  FleetListener& operator=(const FleetListener&) = delete;
  ~FleetListener();

  // In their order, since the last call.
  std::vector<Message> takeMessages();

  // What the user should know since the last call.
  std::vector<std::string> takeNews();

 private:
  struct Connection;

  void run();
  std::string listen(const BrokerAddress& host);
  void keep(Message message) EXCLUDES(mutex);
  void tell(const std::string& text) EXCLUDES(mutex);
  bool isStopping() EXCLUDES(mutex);
  void pause() EXCLUDES(mutex);

  const BrokerHosts hosts;
  const std::optional<BrokerLogin> login;
  const std::optional<BrokerTls> tls;
  Mutex mutex;
  Condition changed;
  bool stopping GUARDED_BY(mutex) = false;
  std::vector<Message> messages GUARDED_BY(mutex);
  std::vector<std::string> news GUARDED_BY(mutex);
  std::string lastNews GUARDED_BY(mutex);
  std::thread thread;
};

}  // namespace device

#endif
