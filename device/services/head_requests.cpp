#include "services/head_requests.h"

#include <cmath>
#include <utility>

namespace device {

namespace {

constexpr std::string_view kRequestHead = "GET orva-cgi/param.cgi?action=list&group=";
constexpr std::string_view kRequestTail = " 1";
constexpr std::string_view kRoot = "root.";

}  // namespace

const char* refusalOf(unsigned channel, unsigned speed) {
  if (channel != kHeadChannel) return "The head is on channel 1";
  return speed > kFullHeadSpeed ? "A speed is 0 to 100 percent" : nullptr;
}

std::optional<AxisCommand> axisCommand(int kind, double value) {
  switch (kind) {
    case 0:
      return AxisCommand{MoveKind::None, 0};
    case 1:
    case 3:
      if (!std::isfinite(value)) return std::nullopt;
      return AxisCommand{static_cast<MoveKind>(kind), value};
    default:
      return std::nullopt;
  }
}

HeadParameters::HeadParameters(std::map<std::string, std::string> parameters, IsReady isReady)
    : parameters_(std::move(parameters)), isReady_(std::move(isReady)) {}

std::string HeadParameters::answer(std::string_view request) const {
  if (!isReady_()) return "0 0";
  if (request.ends_with('\r')) request.remove_suffix(1);
  if (!request.starts_with(kRequestHead) || !request.ends_with(kRequestTail)) {
    return "error: not a request";
  }
  request.remove_prefix(kRequestHead.size());
  request.remove_suffix(kRequestTail.size());
  std::string name(request);
  if (name.starts_with(kRoot)) name.erase(0, kRoot.size());
  const auto found = parameters_.find(name);
  const std::string fullName = std::string(kRoot) + name;
  if (found == parameters_.end()) return "error: no parameter " + fullName;
  return fullName + "=" + found->second;
}

}  // namespace device
