// Owners for what GLib and GIO hand out.
#ifndef BASE_GLIB_PTR_H
#define BASE_GLIB_PTR_H

#include <gio/gio.h>
#include <glib.h>

#include <memory>
#include <string>
#include <utility>

template <auto FREE>
struct GDeleter {
  template <typename T>
  void operator()(T* pointer) const {
    FREE(pointer);
  }
};

template <typename T>
using GObjectPtr = std::unique_ptr<T, GDeleter<g_object_unref>>;

using GVariantPtr = std::unique_ptr<GVariant, GDeleter<g_variant_unref>>;
using GErrorPtr = std::unique_ptr<GError, GDeleter<g_error_free>>;
using GTextPtr = std::unique_ptr<char, GDeleter<g_free>>;
using GBytesPtr = std::unique_ptr<GBytes, GDeleter<g_bytes_unref>>;
using GDateTimePtr = std::unique_ptr<GDateTime, GDeleter<g_date_time_unref>>;
using GHashTablePtr = std::unique_ptr<GHashTable, GDeleter<g_hash_table_unref>>;
using GMainContextPtr = std::unique_ptr<GMainContext, GDeleter<g_main_context_unref>>;
using GMainLoopPtr = std::unique_ptr<GMainLoop, GDeleter<g_main_loop_unref>>;

// A source of a main context, destroyed with its owner; destroying it from its own callback is
// allowed.
struct GSourceDeleter {
  void operator()(GSource* source) const {
    g_source_destroy(source);
    g_source_unref(source);
  }
};
using GSourcePtr = std::unique_ptr<GSource, GSourceDeleter>;

// A reference to a source that its context goes on with when the reference has gone.
using GSourceReference = std::unique_ptr<GSource, GDeleter<g_source_unref>>;

// Has a context, by default the thread's, call the function after so many milliseconds, and again
// until it answers G_SOURCE_REMOVE or the owner goes.
inline GSourcePtr startTimer(guint milliseconds, GSourceFunc function, gpointer data,
                             GMainContext* context = g_main_context_get_thread_default()) {
  GSourcePtr timer(g_timeout_source_new(milliseconds));
  g_source_set_callback(timer.get(), function, data, nullptr);
  g_source_attach(timer.get(), context);
  return timer;
}

// For arguments of type GError**: pass out(), then ask message().
class ErrorSlot {
 public:
  ErrorSlot() = default;
  ErrorSlot(const ErrorSlot&) = delete;
  ErrorSlot& operator=(const ErrorSlot&) = delete;
  ~ErrorSlot() { g_clear_error(&error); }

  // Forgets what an earlier call has left.
  GError** out() {
    g_clear_error(&error);
    return &error;
  }
  bool isSet() const { return error != nullptr; }
  GError* get() { return error; }
  const GError* get() const { return error; }

  // Hands the error on to a caller who may not want it (null), as g_propagate_error does; nothing
  // when none is set.
  void handTo(GError** caller) {
    if (error != nullptr) {
      g_propagate_error(caller, std::exchange(error, nullptr));
    }
  }

  // Never empty: a call that failed without telling why has an "unknown error".
  std::string message() const { return error != nullptr ? error->message : "unknown error"; }

 private:
  GError* error = nullptr;
};

#endif
