#include "ovparameter.h"

#include <memory>
#include <utility>

#include "bus/service_client.h"

namespace {

constexpr const char* NAME = "com.orva.ParameterService";
constexpr const char* PATH = "/com/orva/ParameterService";

// The bus carries valid UTF-8 only and ends the connection otherwise.
bool isText(const char* text) {
  return text != nullptr && g_utf8_validate(text, -1, nullptr);
}

gboolean refuse(GError** error, const char* message) {
  g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT, message);
  return FALSE;
}

}  // namespace

struct OVParameter {
  std::unique_ptr<ServiceClient> service;
};

OVParameter* ov_parameter_new(const char* appName, GError** error) {
  if (!isText(appName)) {
    refuse(error, "The application has no name");
    return nullptr;
  }
  std::unique_ptr<ServiceClient> service = ServiceClient::connect(NAME, PATH, error);
  return service ? new OVParameter{std::move(service)} : nullptr;
}

gboolean ov_parameter_get(OVParameter* handle, const char* name, char** value, GError** error) {
  if (handle == nullptr || value == nullptr) {
    return refuse(error, "A handle and a place are needed");
  }
  if (!isText(name)) {
    return refuse(error, "The name of a parameter is no valid text");
  }
  const GVariantPtr reply = handle->service->call("Get", g_variant_new("(s)", name), "(s)", error);
  if (!reply) {
    return FALSE;
  }
  g_variant_get(reply.get(), "(s)", value);
  return TRUE;
}

void ov_parameter_free(OVParameter* handle) {
  delete handle;
}
