#include "platform/fake_parameter_store.h"

#include "ovparameter.h"

struct OVParameter {};

namespace {

FakeParameterStore* s_current = nullptr;

}  // namespace

FakeParameterStore::FakeParameterStore() {
  s_current = this;
}

FakeParameterStore::~FakeParameterStore() {
  s_current = nullptr;
}

OVParameter* ov_parameter_new(const char* /*app_name*/, GError** error) {
  if (s_current == nullptr || !s_current->reachable) {
    g_set_error_literal(error, g_quark_from_static_string("fake"), 0, "not reachable");
    return nullptr;
  }
  ++s_current->openHandles;
  return new OVParameter;
}

gboolean ov_parameter_get(OVParameter* /*handle*/, const char* name, char** value, GError** error) {
  const auto found = s_current->values.find(name);
  if (found == s_current->values.end()) {
    g_set_error_literal(error, g_quark_from_static_string("fake"), 1, "no such parameter");
    return FALSE;
  }
  *value = g_strdup(found->second.c_str());
  return TRUE;
}

void ov_parameter_free(OVParameter* handle) {
  if (handle == nullptr) {
    return;
  }
  --s_current->openHandles;
  delete handle;
}
