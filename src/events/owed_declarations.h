#ifndef EVENTS_OWED_DECLARATIONS_H
#define EVENTS_OWED_DECLARATIONS_H

#include <functional>
#include <string>
#include <vector>

// The declarations of a producer that failed and are to be made up for: an event that was to be
// declared while the event service was away must not be missing for good. Not thread-safe: the
// producer's mutex covers it.
class OwedDeclarations {
 public:
  using Declare = std::function<bool()>;

  // Declares an event; a declaration that fails is owed, and the answer is false.
  bool declare(const std::string& key, Declare declare);

  // Forgives one declaration of the key, the oldest; false when none is owed, as all were made.
  bool forgive(const std::string& key);

  // Tries again all that is owed, in the order of the demands.
  void settle();

  bool isOwed(const std::string& key) const;
  bool empty() const { return owed.empty(); }

 private:
  struct Owed {
    std::string key;
    Declare declare;
  };

  std::vector<Owed> owed;
};

#endif
