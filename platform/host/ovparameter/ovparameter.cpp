#include "ovparameter.h"

#include <memory>
#include <utility>

#include "base/bus_names.h"
#include "bus/service_client.h"
#include "platform/arguments.h"

namespace {

using arguments::isText;
using arguments::refuse;
using bus_names::PARAMETERS;

}  // namespace

struct OVParameter {
  std::unique_ptr<ServiceClient> service;
};

OVParameter* ov_parameter_new(const char* appName, GError** error) {
  if (!isText(appName)) {
    refuse(error, "The application has no name");
    return nullptr;
  }
  std::unique_ptr<ServiceClient> service =
      ServiceClient::connect(PARAMETERS.name, PARAMETERS.path, error);
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
