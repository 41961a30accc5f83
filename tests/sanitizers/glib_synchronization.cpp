// Tells ThreadSanitizer of what it cannot see in GLib, which is not instrumented and waits by
// system calls of its own: its mutexes and conditions, and that whoever hands over a function and
// its data does so before the function is called, in whichever thread. Part of every program of a
// build with that sanitizer; a program's functions come before those of the libraries.
#include <dlfcn.h>
#include <gio/gio.h>
#include <sanitizer/tsan_interface.h>

#include <memory>

namespace {

template <typename Function>
Function* ofLibrary(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

constexpr unsigned ORDINARY = 0;
constexpr unsigned TRY = __tsan_mutex_try_lock;
constexpr int ONCE = 1;

void toldUnlock(GMutex* mutex) {
  __tsan_mutex_pre_unlock(mutex, ORDINARY);
  __tsan_mutex_post_unlock(mutex, ORDINARY);
}

void toldLock(GMutex* mutex) {
  __tsan_mutex_pre_lock(mutex, ORDINARY);
  __tsan_mutex_post_lock(mutex, ORDINARY, ONCE);
}

// The call stays one, so that what the library calls in its turn returns to the library.
void stayInFrame() {
  asm volatile("");
}

// What is handed over together: it is released when that is done, and acquired before it is used.
template <typename Callback>
struct Handover {
  Callback callback;
  gpointer data;
  GDestroyNotify destroy;

  static Handover* begin(Callback callback, gpointer data, GDestroyNotify destroy = nullptr) {
    auto* handover = new Handover{callback, data, destroy};
    __tsan_release(handover);
    return handover;
  }

  static const Handover& of(gpointer data) {
    __tsan_acquire(data);
    return *static_cast<const Handover*>(data);
  }

  static void end(gpointer data) {
    const std::unique_ptr<const Handover> handover(&of(data));
    if (handover->destroy != nullptr) {
      handover->destroy(handover->data);
    }
  }
};

using SourceHandover = Handover<GSourceFunc>;
using SignalHandover = Handover<GDBusSignalCallback>;
using AnswerHandover = Handover<GAsyncReadyCallback>;
using ClosureHandover = Handover<GClosureNotify>;

gboolean onSource(gpointer data) {
  const auto& handover = SourceHandover::of(data);
  return handover.callback(handover.data);
}

void onBusSignal(GDBusConnection* bus, const char* sender, const char* path, const char* interface,
                 const char* signal, GVariant* arguments, gpointer data) {
  const auto& handover = SignalHandover::of(data);
  handover.callback(bus, sender, path, interface, signal, arguments, handover.data);
}

void onAnswer(GObject* source, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<const AnswerHandover> handover(&AnswerHandover::of(data));
  handover->callback(source, result, handover->data);
}

void onMarshal(gpointer data, GClosure* /*closure*/) {
  __tsan_acquire(data);
}
void onMarshalled(gpointer /*data*/, GClosure* /*closure*/) {}

void onClosureEnd(gpointer data, GClosure* closure) {
  const std::unique_ptr<const ClosureHandover> handover(&ClosureHandover::of(data));
  if (handover->callback != nullptr) {
    handover->callback(handover->data, closure);
  }
}

}  // namespace

extern "C" {

// ---- Mutexes and conditions ----

void g_mutex_lock(GMutex* mutex) {
  static const auto LOCK = ofLibrary<decltype(g_mutex_lock)>("g_mutex_lock");
  __tsan_mutex_pre_lock(mutex, ORDINARY);
  LOCK(mutex);
  __tsan_mutex_post_lock(mutex, ORDINARY, ONCE);
}

gboolean g_mutex_trylock(GMutex* mutex) {
  static const auto TRY_LOCK = ofLibrary<decltype(g_mutex_trylock)>("g_mutex_trylock");
  __tsan_mutex_pre_lock(mutex, TRY);
  const gboolean locked = TRY_LOCK(mutex);
  const unsigned failed = locked ? 0 : __tsan_mutex_try_lock_failed;
  __tsan_mutex_post_lock(mutex, TRY | failed, ONCE);
  return locked;
}

void g_mutex_unlock(GMutex* mutex) {
  static const auto UNLOCK = ofLibrary<decltype(g_mutex_unlock)>("g_mutex_unlock");
  __tsan_mutex_pre_unlock(mutex, ORDINARY);
  UNLOCK(mutex);
  __tsan_mutex_post_unlock(mutex, ORDINARY);
}

void g_cond_wait(GCond* condition, GMutex* mutex) {
  static const auto WAIT = ofLibrary<decltype(g_cond_wait)>("g_cond_wait");
  toldUnlock(mutex);
  WAIT(condition, mutex);
  toldLock(mutex);
}

gboolean g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 until) {
  static const auto WAIT = ofLibrary<decltype(g_cond_wait_until)>("g_cond_wait_until");
  toldUnlock(mutex);
  const gboolean signalled = WAIT(condition, mutex, until);
  toldLock(mutex);
  return signalled;
}

// Recursive mutexes are those of the system, which the sanitizer knows when it sees who calls.
void g_rec_mutex_lock(GRecMutex* mutex) {
  static const auto LOCK = ofLibrary<decltype(g_rec_mutex_lock)>("g_rec_mutex_lock");
  LOCK(mutex);
  stayInFrame();
}

void g_rec_mutex_unlock(GRecMutex* mutex) {
  static const auto UNLOCK = ofLibrary<decltype(g_rec_mutex_unlock)>("g_rec_mutex_unlock");
  UNLOCK(mutex);
  stayInFrame();
}

// ---- Functions and data that are handed over ----

// A program that has a function of its own in the place of GLib's keeps it.
#pragma weak g_timeout_add_full

void g_source_set_callback(GSource* source, GSourceFunc callback, gpointer data,
                           GDestroyNotify destroy) {
  static const auto SET_CALLBACK =
      ofLibrary<decltype(g_source_set_callback)>("g_source_set_callback");
  // The functions of other kinds of sources take other arguments.
  if (source->source_funcs != &g_timeout_funcs && source->source_funcs != &g_idle_funcs) {
    SET_CALLBACK(source, callback, data, destroy);
    return;
  }
  SET_CALLBACK(source, &onSource, SourceHandover::begin(callback, data, destroy),
               &SourceHandover::end);
}

guint g_timeout_add_full(gint priority, guint interval, GSourceFunc callback, gpointer data,
                         GDestroyNotify destroy) {
  static const auto ADD = ofLibrary<decltype(g_timeout_add_full)>("g_timeout_add_full");
  return ADD(priority, interval, &onSource, SourceHandover::begin(callback, data, destroy),
             &SourceHandover::end);
}

guint g_idle_add(GSourceFunc callback, gpointer data) {
  return g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, &onSource, SourceHandover::begin(callback, data),
                         &SourceHandover::end);
}

guint g_dbus_connection_signal_subscribe(GDBusConnection* bus, const gchar* sender,
                                         const gchar* interface, const gchar* member,
                                         const gchar* path, const gchar* argument,
                                         GDBusSignalFlags flags, GDBusSignalCallback callback,
                                         gpointer data, GDestroyNotify destroy) {
  static const auto SUBSCRIBE =
      ofLibrary<decltype(g_dbus_connection_signal_subscribe)>("g_dbus_connection_signal_subscribe");
  return SUBSCRIBE(bus, sender, interface, member, path, argument, flags, &onBusSignal,
                   SignalHandover::begin(callback, data, destroy), &SignalHandover::end);
}

void g_dbus_connection_call(GDBusConnection* bus, const gchar* name, const gchar* path,
                            const gchar* interface, const gchar* method, GVariant* arguments,
                            const GVariantType* reply, GDBusCallFlags flags, gint timeout,
                            GCancellable* cancellable, GAsyncReadyCallback callback,
                            gpointer data) {
  static const auto CALL = ofLibrary<decltype(g_dbus_connection_call)>("g_dbus_connection_call");
  CALL(bus, name, path, interface, method, arguments, reply, flags, timeout, cancellable,
       callback != nullptr ? &onAnswer : nullptr,
       callback != nullptr ? AnswerHandover::begin(callback, data) : nullptr);
}

gulong g_signal_connect_data(gpointer instance, const gchar* signal, GCallback callback,
                             gpointer data, GClosureNotify destroy, GConnectFlags flags) {
  GClosure* closure = (flags & G_CONNECT_SWAPPED) != 0
                          ? g_cclosure_new_swap(callback, data, nullptr)
                          : g_cclosure_new(callback, data, nullptr);
  gpointer handover = ClosureHandover::begin(destroy, data);
  g_closure_add_marshal_guards(closure, handover, &onMarshal, handover, &onMarshalled);
  g_closure_add_finalize_notifier(closure, handover, &onClosureEnd);
  return g_signal_connect_closure(instance, signal, closure, (flags & G_CONNECT_AFTER) != 0);
}

}  // extern "C"
