// Locks whose rules the compiler checks: clang's analysis of thread safety (Hutchins, Ballman and
// Sutherland 2014), nothing for other compilers.
//
//   Mutex mutex;
//   int count GUARDED_BY(mutex) = 0;
//   void add() EXCLUDES(mutex) {
//     const LockGuard lock(mutex);
//     addOne();
//   }
//   void addOne() REQUIRES(mutex) { ++count; }
#ifndef BASE_MUTEX_H
#define BASE_MUTEX_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define SENTREL_ANALYSED(attribute) __attribute__((attribute))
#else
#define SENTREL_ANALYSED(attribute)
#endif

#define CAPABILITY(name) SENTREL_ANALYSED(capability(name))
#define SCOPED_CAPABILITY SENTREL_ANALYSED(scoped_lockable)
// Of a member, or of what a pointer leads to: only with that lock.
#define GUARDED_BY(lock) SENTREL_ANALYSED(guarded_by(lock))
#define POINTED_GUARDED_BY(lock) SENTREL_ANALYSED(pt_guarded_by(lock))
// Of a lock: taken before, or after, those.
#define ACQUIRED_BEFORE(...) SENTREL_ANALYSED(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) SENTREL_ANALYSED(acquired_after(__VA_ARGS__))
// Of a function: called with those locks held, or not held; takes, tries or gives back.
#define REQUIRES(...) SENTREL_ANALYSED(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) SENTREL_ANALYSED(locks_excluded(__VA_ARGS__))
#define ACQUIRES(...) SENTREL_ANALYSED(acquire_capability(__VA_ARGS__))
#define TRIES_TO_ACQUIRE(...) SENTREL_ANALYSED(try_acquire_capability(__VA_ARGS__))
#define RELEASES(...) SENTREL_ANALYSED(release_capability(__VA_ARGS__))

class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRES() { mutex.lock(); }
  void unlock() RELEASES() { mutex.unlock(); }
  bool try_lock() TRIES_TO_ACQUIRE(true) { return mutex.try_lock(); }

 private:
  friend class Condition;

  std::mutex mutex;
};

// For one thread several times over. The analysis looks at one function at a time and allows each
// of them to take it once: what has it already says so by REQUIRES and does not take it again.
class CAPABILITY("mutex") RecursiveMutex {
 public:
  void lock() ACQUIRES() { mutex.lock(); }
  void unlock() RELEASES() { mutex.unlock(); }
  bool try_lock() TRIES_TO_ACQUIRE(true) { return mutex.try_lock(); }

 private:
  std::recursive_mutex mutex;
};

// Holds a lock for the life of the guard.
template <typename Lockable>
class SCOPED_CAPABILITY LockGuard {
 public:
  explicit LockGuard(Lockable& lockable) ACQUIRES(lockable) : lockable(lockable) {
    lockable.lock();
  }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;
  ~LockGuard() RELEASES() { lockable.unlock(); }

 private:
  Lockable& lockable;
};

// Something to be waited for with a mutex held, which is let go of meanwhile. Waits end without
// reason, too, so look again in a loop; not in a predicate, which the analysis would take for a
// function without the lock.
class Condition {
 public:
  void wait(Mutex& mutex) REQUIRES(mutex) {
    std::unique_lock held(mutex.mutex, std::adopt_lock);
    condition.wait(held);
    held.release();
  }

  // False when the time is over.
  bool waitFor(Mutex& mutex, std::chrono::milliseconds time) REQUIRES(mutex) {
    std::unique_lock held(mutex.mutex, std::adopt_lock);
    const bool isInTime = condition.wait_for(held, time) == std::cv_status::no_timeout;
    held.release();
    return isInTime;
  }

  void notifyAll() { condition.notify_all(); }

 private:
  std::condition_variable condition;
};

#endif
