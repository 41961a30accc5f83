// Owners for what GLib hands out.
#ifndef BUS_G_PTR_H
#define BUS_G_PTR_H

#include <gio/gio.h>
#include <glib.h>

#include <memory>

template <auto release>
struct GDeleter {
  template <typename T>
  void operator()(T* pointer) const {
    release(pointer);
  }
};

using GVariantPtr = std::unique_ptr<GVariant, GDeleter<g_variant_unref>>;
using GErrorPtr = std::unique_ptr<GError, GDeleter<g_error_free>>;
using GTextPtr = std::unique_ptr<char, GDeleter<g_free>>;

template <typename T>
using GObjectPtr = std::unique_ptr<T, GDeleter<g_object_unref>>;

#endif
