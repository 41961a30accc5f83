#ifndef DEVICE_ONVIF_SERVER_DISCOVERY_RESPONDER_H
#define DEVICE_ONVIF_SERVER_DISCOVERY_RESPONDER_H

#include <gio/gio.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "base/glib_ptr.h"
#include "onvif/discovery_message.h"

namespace device::onvif {

// Says that a device is there: to all with its start and its end, and to whoever looks for it, by
// multicast on one network. Answers come after a time of chance, so that those of many devices do
// not meet.
class DiscoveryResponder {
 public:
  static constexpr gint32 MOST_DELAY = 500;        // milliseconds
  static constexpr std::size_t MOST_WAITING = 64;  // answers; beyond, questions are not heard
  static constexpr int PER_TURN = 16;              // questions

  using Delay = std::function<guint()>;  // milliseconds until an answer
  static guint delayOfChance();

  // address: the device's own on that network, as text; "0.0.0.0" leaves the choice to the system.
  // Throws std::runtime_error when it cannot listen.
  DiscoveryResponder(std::string address, std::uint16_t port, std::string path,
                     std::string endpoint, std::vector<std::string> scopes,
                     Delay delay = delayOfChance);
  DiscoveryResponder(const DiscoveryResponder&) = delete;
  DiscoveryResponder& operator=(const DiscoveryResponder&) = delete;
  ~DiscoveryResponder();

  std::size_t waitingAnswers() const;

 private:
  struct Waiting;

  static gboolean readable(GSocket* socket, GIOCondition condition, gpointer self);
  static gboolean due(gpointer waiting);
  bool readOne();
  void answerLater(const DiscoveryQuestion& question, GObjectPtr<GSocketAddress> asker);
  DiscoveryDevice deviceFor(GSocketAddress* asker) const;
  void send(GSocketAddress* to, const std::string& text) const;

  std::string address;
  std::uint16_t port;
  std::string path;
  DiscoveryDevice device;
  Delay delay;
  DiscoverySequence sequence;
  GObjectPtr<GSocket> socket;
  GObjectPtr<GSocketAddress> group;
  GSourcePtr source;
  std::list<Waiting> waiting;
};

}  // namespace device::onvif

#endif
