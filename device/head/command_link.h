#ifndef DEVICE_HEAD_COMMAND_LINK_H
#define DEVICE_HEAD_COMMAND_LINK_H

#include <cstdint>
#include <deque>
#include <optional>

#include "head/head_command.h"
#include "random/chance.h"

namespace device {

struct CommandLinkSetup {
  double latency = 0;  // seconds from a command to its first effect
  double jitter = 0;   // seconds, evenly distributed to either side of the latency
};

// The way from whoever commands a head to its motors. Each command takes a time of its own, none
// overtakes another, none arrives before it was sent.
class CommandLink {
 public:
  CommandLink(const CommandLinkSetup& setup, std::uint64_t seed);

  void send(const HeadCommand& command);

  // Forgets everything on its way.
  void drop() { commands.clear(); }

  // Seconds until the next command arrives, 0 when it is due; nothing when none is on its way.
  std::optional<double> untilNext() const;

  // The next command, which leaves the link; there has to be one.
  HeadCommand take();

  void advance(double seconds);

 private:
  struct Sent {
    double remaining;  // seconds; a command that is late already is due
    HeadCommand command;
  };

  CommandLinkSetup setup;
  Chance chance;
  std::deque<Sent> commands;  // one that would overtake waits behind the one before
};

}  // namespace device

#endif
