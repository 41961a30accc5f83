// Tells ThreadSanitizer of GLib's mutexes and conditions, which it cannot see: GLib is not
// instrumented and waits by system calls of its own. Part of every program of a build with that
// sanitizer; a program's functions come before those of the libraries.
#include <dlfcn.h>
#include <glib.h>
#include <sanitizer/tsan_interface.h>

namespace {

template <typename Function>
Function* ofLibrary(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

constexpr unsigned kOrdinary = 0;
constexpr unsigned kTry = __tsan_mutex_try_lock;
constexpr int kOnce = 1;

void toldUnlock(GMutex* mutex) {
  __tsan_mutex_pre_unlock(mutex, kOrdinary);
  __tsan_mutex_post_unlock(mutex, kOrdinary);
}

void toldLock(GMutex* mutex) {
  __tsan_mutex_pre_lock(mutex, kOrdinary);
  __tsan_mutex_post_lock(mutex, kOrdinary, kOnce);
}

}  // namespace

extern "C" {

void g_mutex_lock(GMutex* mutex) {
  static const auto lock = ofLibrary<decltype(g_mutex_lock)>("g_mutex_lock");
  __tsan_mutex_pre_lock(mutex, kOrdinary);
  lock(mutex);
  __tsan_mutex_post_lock(mutex, kOrdinary, kOnce);
}

gboolean g_mutex_trylock(GMutex* mutex) {
  static const auto tryLock = ofLibrary<decltype(g_mutex_trylock)>("g_mutex_trylock");
  __tsan_mutex_pre_lock(mutex, kTry);
  const gboolean locked = tryLock(mutex);
  const unsigned failed = locked ? 0 : __tsan_mutex_try_lock_failed;
  __tsan_mutex_post_lock(mutex, kTry | failed, kOnce);
  return locked;
}

void g_mutex_unlock(GMutex* mutex) {
  static const auto unlock = ofLibrary<decltype(g_mutex_unlock)>("g_mutex_unlock");
  __tsan_mutex_pre_unlock(mutex, kOrdinary);
  unlock(mutex);
  __tsan_mutex_post_unlock(mutex, kOrdinary);
}

void g_cond_wait(GCond* condition, GMutex* mutex) {
  static const auto wait = ofLibrary<decltype(g_cond_wait)>("g_cond_wait");
  toldUnlock(mutex);
  wait(condition, mutex);
  toldLock(mutex);
}

gboolean g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 until) {
  static const auto wait = ofLibrary<decltype(g_cond_wait_until)>("g_cond_wait_until");
  toldUnlock(mutex);
  const gboolean signalled = wait(condition, mutex, until);
  toldLock(mutex);
  return signalled;
}

}  // extern "C"
