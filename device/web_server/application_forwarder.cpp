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
    : path_(std::move(path)), timeout_(timeout) {}

ApplicationForwarder::~ApplicationForwarder() = default;

void ApplicationForwarder::forward(std::vector<std::uint8_t> bytes, Done done) {
  Waiting& waiting = waiting_.emplace_back(Waiting{this, std::move(bytes), std::move(done), {}});
  waiting.timer.reset(g_timeout_source_new(static_cast<guint>(timeout_.count())));
  g_source_set_callback(waiting.timer.get(), late, &waiting, nullptr);
  g_source_attach(waiting.timer.get(), g_main_context_get_thread_default());
  if (!request_) sendFirst();
}

void ApplicationForwarder::sendFirst() {
  request_.reset();
  if (waiting_.empty()) return;
  request_ =
      std::make_unique<ApplicationRequest>(path_, std::move(waiting_.front().bytes),
                                           [this](const std::string* text) { answered(text); });
}

void ApplicationForwarder::answered(const std::string* text) {
  const auto answer = text != nullptr ? parseApplicationAnswer(*text) : std::nullopt;
  finish(waiting_.front(), answer ? ForwardResult_e::kAnswered : ForwardResult_e::kUnreachable,
         answer ? &*answer : nullptr);
}

gboolean ApplicationForwarder::late(gpointer data) {
  const auto* waiting = static_cast<const Waiting*>(data);
  waiting->forwarder->finish(*waiting, ForwardResult_e::kLate, nullptr);
  return G_SOURCE_REMOVE;
}

void ApplicationForwarder::finish(const Waiting& waiting, ForwardResult_e result,
                                  const ApplicationAnswer* answer) {
  const auto found = std::ranges::find_if(
      waiting_, [&](const Waiting& candidate) { return &candidate == &waiting; });
  const bool wasSent = found == waiting_.begin();
  std::list<Waiting> finished;
  finished.splice(finished.begin(), waiting_, found);
  if (wasSent) sendFirst();
  finished.front().done(result, answer);
}

}  // namespace device
