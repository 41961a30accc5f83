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

  // Whether the service, though there, has failed within the last second: who must not be held up
  // does not try again yet.
  bool hasJustFailed() const;

  bool isOwed(const std::string& key) const;
  bool empty() const { return owed.empty(); }

 private:
  struct Owed {
    std::string key;
    Declare declare;
  };

  void noteFailure();

  std::vector<Owed> owed;
  std::optional<std::int64_t> failedAt;  // monotonic microseconds
};

#endif
