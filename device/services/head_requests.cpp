#include "services/head_requests.h"

#include <cmath>
#include <utility>

namespace device {

namespace {

constexpr std::string_view REQUEST_HEAD = "GET orva-cgi/param.cgi?action=list&group=";
constexpr std::string_view REQUEST_TAIL = " 1";
constexpr std::string_view ROOT = "root.";

}  // namespace

const char* refusalOf(unsigned channel, unsigned speed) {
  if (channel != HEAD_CHANNEL) {
    return "The head is on channel 1";
  }
  return speed > FULL_HEAD_SPEED ? "A speed is 0 to 100 percent" : nullptr;
}

std::optional<AxisCommand> axisCommand(int kind, double value) {
  switch (kind) {
    case 0:
      return AxisCommand{MoveKind::none, 0};
    case 1:
    case 3:
      if (!std::isfinite(value)) {
        return std::nullopt;
      }
      return AxisCommand{static_cast<MoveKind>(kind), value};
    default:
      return std::nullopt;
  }
}

HeadParameters::HeadParameters(Known known) : known(std::move(known)) {}

HeadParameters::HeadParameters(std::map<std::string, std::string> parameters, IsReady isReady)
    : known([parameters = std::move(parameters), isReady = std::move(isReady)] {
        return isReady() ? &parameters : nullptr;
      }) {}

std::string HeadParameters::answer(std::string_view request) const {
  const auto* parameters = known();
  if (parameters == nullptr) {
    return "0 0";
  }
  if (request.ends_with('\r')) {
    request.remove_suffix(1);
  }
  if (!request.starts_with(REQUEST_HEAD) || !request.ends_with(REQUEST_TAIL)) {
    return "error: not a request";
  }
  request.remove_prefix(REQUEST_HEAD.size());
  request.remove_suffix(REQUEST_TAIL.size());
  std::string name(request);
  if (name.starts_with(ROOT)) {
    name.erase(0, ROOT.size());
  }
  const auto found = parameters->find(name);
  const std::string fullName = std::string(ROOT) + name;
  if (found == parameters->end()) {
    return "error: no parameter " + fullName;
  }
  return fullName + "=" + found->second;
}

}  // namespace device
