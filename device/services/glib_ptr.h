#ifndef DEVICE_SERVICES_GLIB_PTR_H
#define DEVICE_SERVICES_GLIB_PTR_H

#include <gio/gio.h>

#include <memory>
#include <string>

namespace device {

// Owners of GLib's handles.

struct GObjectDeleter {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectDeleter>;

struct GVariantDeleter {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using GVariantPtr = std::unique_ptr<GVariant, GVariantDeleter>;

struct GErrorDeleter {
  void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorDeleter>;

struct GFreeDeleter {
  void operator()(gpointer memory) const { g_free(memory); }
};
using GCharPtr = std::unique_ptr<char, GFreeDeleter>;

// A source attached to the thread's default main context, destroyed with its owner; destroying it
// from its own callback is allowed.
struct GSourceDeleter {
  void operator()(GSource* source) const {
    g_source_destroy(source);
    g_source_unref(source);
  }
};
using GSourcePtr = std::unique_ptr<GSource, GSourceDeleter>;

// For GLib's GError** arguments: pass error.out(), then ask message().
class ErrorSlot {
 public:
  GError** out() { return &error; }
  bool isSet() const { return error != nullptr; }
  bool is(GQuark domain, int code) const { return g_error_matches(error, domain, code) != FALSE; }
  std::string message() const { return error != nullptr ? error->message : "unknown error"; }
  ErrorSlot() = default;
  ErrorSlot(const ErrorSlot&) = delete;
  ErrorSlot& operator=(const ErrorSlot&) = delete;
  ~ErrorSlot() { g_clear_error(&error); }

 private:
  GError* error = nullptr;
};

}  // namespace device

#endif
