#include "head/command_link.h"

#include <algorithm>

namespace device {

CommandLink::CommandLink(const CommandLinkSetup& setup, std::uint64_t seed)
    : setup(setup), chance(seed, "command link") {}

void CommandLink::send(const HeadCommand& command) {
  commands.push_back(
      {chance.between(setup.latency - setup.jitter, setup.latency + setup.jitter), command});
}

std::optional<double> CommandLink::untilNext() const {
  if (commands.empty()) {
    return std::nullopt;
  }
  return std::max(commands.front().remaining, 0.0);
}

HeadCommand CommandLink::take() {
  const HeadCommand command = commands.front().command;
  commands.pop_front();
  return command;
}

void CommandLink::advance(double seconds) {
  for (Sent& sent : commands) {
    sent.remaining -= seconds;
  }
}

}  // namespace device
