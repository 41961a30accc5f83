// Threads that take turns: one runs until it sleeps, and time moves on only when all do.
#ifndef MEMORY_FIBRES_H
#define MEMORY_FIBRES_H

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

namespace memory {

// The time of the process, and all that waits for it, on the one thread there is. What g_thread_new
// makes in this platform is a fibre. Whoever is no fibre owns the time and moves it on; the same
// calls in the same order give the same course, whatever the machine does meanwhile.
//
// A fibre must not sleep while it holds a lock that another one takes: nobody would ever give it
// back.
class Fibres {
 public:
  Fibres(const Fibres&) = delete;
  Fibres& operator=(const Fibres&) = delete;

  static Fibres& get();

  // Microseconds.
  std::int64_t now() const { return time; }

  // Begins at another time. Only while there are no fibres.
  void reset(std::int64_t startTime);

  // A fibre runs for the first time when time is moved on. The number is never used again.
  int start(std::function<void()> work);

  // Suspends the fibre that calls; for who is no fibre, time moves on.
  void sleep(std::int64_t microseconds);

  // Runs all that is due up to a time, in the order of its times, and arrives there.
  void advanceTo(std::int64_t end);

  // Lets time pass until a fibre has ended. Not from a fibre.
  void join(int number);

 private:
  class Fibre;

  Fibres();
  ~Fibres();

  Fibre* nextDue(std::int64_t end);
  Fibre* find(int number);
  void run(Fibre& fibre);

  std::int64_t time = 0;
  int lastNumber = 0;
  std::vector<std::unique_ptr<Fibre>> fibres;
  Fibre* current = nullptr;
};

}  // namespace memory

#endif
