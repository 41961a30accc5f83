#ifndef DEVICE_WEB_SERVER_FOLLOWING_WATCH_H
#define DEVICE_WEB_SERVER_FOLLOWING_WATCH_H

#include <functional>
#include <optional>
#include <string>

#include "services/parameter_store.h"
#include "web_server/last_minute.h"

namespace device {

// Which way of following is chosen and what the application thinks by it, as it says itself when it
// is asked: an application that follows the specified way has nothing to say, and is not asked.
class FollowingWatch {
 public:
  // As WebInterface::ask.
  using Ask = std::function<void(const std::string& body,
                                 std::function<void(const std::string* answer)> done)>;

  // The store must outlive it. told is called whenever there is something new to tell.
  FollowingWatch(const ParameterStore& parameters, Ask ask, std::function<void()> told);

  // Asks, unless an answer is awaited or nothing is to be expected.
  void look(bool isApplicationRunning);

  // {"time":s, "chosen":"predictive" or "specified", "thought":what the application answered, or
  // null}, in one line.
  std::string json(double time) const;

  // What it thinks, for the last minute; nothing while it does not.
  const std::optional<LastMinute::Expectation>& expectation() const { return expected; }

 private:
  void take(const std::string* answer);
  void forget();

  const ParameterStore& parameters;
  Ask ask;
  std::function<void()> told;
  bool isAwaited = false;
  std::string thought;  // empty: none
  std::optional<LastMinute::Expectation> expected;
};

}  // namespace device

#endif
