#ifndef APP_THREAD_H
#define APP_THREAD_H

#include <glib.h>

#include <atomic>

// A thread that is started once and asked to stop by a flag which its function polls.
//
//   class Worker : public Thread { ... };
//   worker.start(&Worker::run, &worker);   // run polls isRunning()
//   worker.stop();
//   worker.join();
//
// start and join are called by the owner's thread; stop and isRunning by any.
class Thread {
 public:
  Thread() = default;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Asks the thread function to end. Does not wait for it.
  virtual void stop();

  // Lets go of the thread without waiting for it.
  virtual ~Thread();

  // Runs func(data) on a new thread. Does nothing while running.
  void start(GThreadFunc func, gpointer data);

  // Waits for the thread to end. Does nothing when there is none.
  void join();

  bool isRunning() const { return running; }

 protected:
  GThread* thread = nullptr;
  std::atomic<bool> running{false};
};

#endif
