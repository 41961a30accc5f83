#ifndef DEVICE_FLEET_FLEET_LISTENER_H
#define DEVICE_FLEET_FLEET_LISTENER_H

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "web_server/broker_options.h"

namespace device {

// Listens to all sites at one broker, on a thread of its own; with each new connection, to the next
// of the broker's hosts. All functions may be called from any thread and return at once.
//
// It asks for QoS 0: a cluster then passes on what comes at once, whatever has become of its
// stores, and has to remember nothing for a listener whose node dies. What gets lost on the way
// shows in the events' numbers.
class FleetListener {
 public:
  struct Message {
    std::string topic;  // empty: the connection was lost, or has been made anew
    std::string payload;
    bool isRetained = false;  // told before there was this connection
  };

  // Sites tell themselves again within a minute: a host that says nothing for so long is left for
  // the next one; for twice as long, up to eight times, where that one has been silent as well. The
  // user is told of the first one, and then of the first at which a site is heard.
  static constexpr std::chrono::milliseconds SILENCE = std::chrono::seconds(75);

  FleetListener(BrokerHosts hosts, const BrokerOptions& options,
                std::chrono::milliseconds silence = SILENCE);
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
  const std::chrono::milliseconds silence;
  int silences = 0;  // hosts in a row that said nothing; the thread's
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
