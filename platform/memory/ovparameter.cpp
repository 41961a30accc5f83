#include <ovparameter.h>

#include <gio/gio.h>

#include "memory/device.h"

struct OVParameter {};

extern "C" {

OVParameter* ov_parameter_new(const char*, GError** error) {
  if (memory::device() == nullptr) {
    g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "There is no device");
    return nullptr;
  }
  return new OVParameter;
}

gboolean ov_parameter_get(OVParameter*, const char* name, char** value, GError** error) {
  memory::Device* device = memory::device();
  const auto found = device != nullptr ? device->parameter(name) : std::nullopt;
  if (!found) {
    g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS, "There is no parameter %s", name);
    return FALSE;
  }
  *value = g_strdup(found->c_str());
  return TRUE;
}

void ov_parameter_free(OVParameter* handle) {
  delete handle;
}

}  // extern "C"
