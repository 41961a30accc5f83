#include "web_server/application_forwarder.h"

#include <algorithm>
#include <utility>

namespace device {

struct ApplicationForwarder::Waiting {
  ApplicationForwarder* forwarder;
  std::vector<std::uint8_t> bytes;
  Done done;
  GSourcePtr timer;
};

ApplicationForwarder::ApplicationForwarder(std::string path, std::chrono::milliseconds timeout)
    : path(std::move(path)), timeout(timeout) {}

ApplicationForwarder::~ApplicationForwarder() = default;

void ApplicationForwarder::forward(std::vector<std::uint8_t> bytes, Done done) {
  Waiting& last = waiting.emplace_back(Waiting{this, std::move(bytes), std::move(done), {}});
  last.timer = startTimer(static_cast<guint>(timeout.count()), late, &last);
  if (!request) {
    sendFirst();
  }
}

void ApplicationForwarder::sendFirst() {
  request.reset();
  if (waiting.empty()) {
    return;
  }
  request = std::make_unique<ApplicationRequest>(
      path, std::move(waiting.front().bytes), [this](const std::string* text) { answered(text); });
}

void ApplicationForwarder::answered(const std::string* text) {
  const auto answer = text != nullptr ? parseApplicationAnswer(*text) : std::nullopt;
  finish(waiting.front(), answer ? ForwardResult_e::answered : ForwardResult_e::unreachable,
         answer ? &*answer : nullptr);
}

gboolean ApplicationForwarder::late(gpointer data) {
  const auto* waiting = static_cast<const Waiting*>(data);
  waiting->forwarder->finish(*waiting, ForwardResult_e::late, nullptr);
  return G_SOURCE_REMOVE;
}

void ApplicationForwarder::finish(const Waiting& over, ForwardResult_e result,
                                  const ApplicationAnswer* answer) {
  const auto found =
      std::ranges::find_if(waiting, [&](const Waiting& candidate) { return &candidate == &over; });
  const bool wasSent = found == waiting.begin();
  std::list<Waiting> finished;
  finished.splice(finished.begin(), waiting, found);
  if (wasSent) {
    sendFirst();
  }
  finished.front().done(result, answer);
}

}  // namespace device
