#ifndef EVENTS_OWED_DECLARATIONS_H
#define EVENTS_OWED_DECLARATIONS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// The declarations of a producer that failed and are to be made up for: an event that was to be
// declared while the event service was away must not be missing for good. Not thread-safe: the
// producer's mutex covers it.
class OwedDeclarations {
 public:
  using Declare = std::function<bool()>;

  // Declares an event; a declaration that fails is owed, and the answer is false. One behind an
  // owed one of its key is owed without an attempt: the event's names are those demanded last.
  bool declare(const std::string& key, Declare declare);

  // Forgives one declaration of the key, the oldest; false when none is owed, as all were made.
  bool forgive(const std::string& key);

  // Tries again what is owed, in the order of the demands, up to the first that fails: with a
  // service that answers nobody each attempt takes the whole time-out of a call.
  void settle();

  // Whether something is owed that a service may take now. One that, though there, has failed
  // within the last second is left alone: on the threads of requests and of frames, which a service
  // that answers nobody must not hold up again and again.
  bool mayBeSettled() const;

  bool isOwed(const std::string& key) const;
  bool empty() const { return owed.empty(); }

  // Takes out of a map, of what was missed because its event was owed, what can be told now. The
  // function tells the event of one of the map's keys.
  template <typename Missed, typename EventOf>
  Missed takePaid(Missed& missed, EventOf eventOf) const {
    Missed paid;
    for (auto next = missed.begin(); next != missed.end();) {
      const auto one = next++;
      if (!isOwed(eventOf(one->first))) {
        paid.insert(paid.end(), missed.extract(one));
      }
    }
    return paid;
  }

 private:
  struct Owed {
    std::string key;
    Declare declare;
  };

  bool hasJustFailed() const;
  void noteFailure();

  std::vector<Owed> owed;
  std::optional<std::int64_t> failedAt;  // monotonic microseconds
};

#endif
