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
#define ACQUIRE(...) SENTREL_ANALYSED(acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) SENTREL_ANALYSED(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) SENTREL_ANALYSED(release_capability(__VA_ARGS__))
#define RETURNS_LOCK(lock) SENTREL_ANALYSED(lock_returned(lock))
// Where the rule is kept in a way that the analysis cannot see; the reason stands beside it.
#define NO_THREAD_SAFETY_ANALYSIS SENTREL_ANALYSED(no_thread_safety_analysis)

class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { mutex.lock(); }
  void unlock() RELEASE() { mutex.unlock(); }
  bool try_lock() TRY_ACQUIRE(true) { return mutex.try_lock(); }

 private:
  std::mutex mutex;
};

// For one thread several times over. The analysis knows nothing of that: a function that may be
// called either way takes it through a RecursiveGuard.
class CAPABILITY("mutex") RecursiveMutex {
 public:
  void lock() ACQUIRE() { mutex.lock(); }
  void unlock() RELEASE() { mutex.unlock(); }
  bool try_lock() TRY_ACQUIRE(true) { return mutex.try_lock(); }

 private:
  std::recursive_mutex mutex;
};

// Holds a lock for the life of the guard.
template <typename Lockable>
class SCOPED_CAPABILITY LockGuard {
 public:
  explicit LockGuard(Lockable& lockable) ACQUIRE(lockable) : lockable(lockable) { lockable.lock(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;
  ~LockGuard() RELEASE() { lockable.unlock(); }

 private:
  Lockable& lockable;
};

#endif
