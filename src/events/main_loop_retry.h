#ifndef EVENTS_MAIN_LOOP_RETRY_H
#define EVENTS_MAIN_LOOP_RETRY_H

#include <functional>
#include <memory>

// Tries something that needs a service of the device once a second, on the main loop's thread,
// until it succeeds.
class MainLoopRetry {
 public:
  // attempt answers whether nothing is left to be tried.
  explicit MainLoopRetry(std::function<bool()> attempt);
  MainLoopRetry(const MainLoopRetry&) = delete;
  MainLoopRetry& operator=(const MainLoopRetry&) = delete;

  // Waits for an attempt that runs: hold no lock that it takes.
  ~MainLoopRetry();

  // Begins with the attempts, unless they are under way. Any thread, under any lock.
  void begin();

 private:
  struct Link;

  const std::shared_ptr<Link> link;
};

#endif
