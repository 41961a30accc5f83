#include "fakes/fake_http.h"

#include <ovhttp.h>

#include "base/glib_ptr.h"
#include "base/mutex.h"

struct OVHttpHandler {
  OVHttpCallback callback;
  void* userData;
};

namespace {

Mutex s_mutex;  // guards all below
OVHttpHandler* s_registered = nullptr;
int s_registrationsToFail = 0;
int s_registrationCount = 0;
int s_freeCount = 0;

GHashTablePtr tableOf(const std::map<std::string, std::string>& fields) {
  GHashTablePtr table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
  for (const auto& [key, value] : fields) {
    g_hash_table_insert(table.get(), g_strdup(key.c_str()), g_strdup(value.c_str()));
  }
  return table;
}

std::string written(GOutputStream* stream) {
  GMemoryOutputStream* memory = G_MEMORY_OUTPUT_STREAM(stream);
  return {static_cast<const char*>(g_memory_output_stream_get_data(memory)),
          g_memory_output_stream_get_data_size(memory)};
}

}  // namespace

namespace FakeHttp {

void reset() {
  const LockGuard lock(s_mutex);
  s_registrationsToFail = 0;
  s_registrationCount = 0;
  s_freeCount = 0;
}

void failRegistrations(int count) {
  const LockGuard lock(s_mutex);
  s_registrationsToFail = count;
}

bool isRegistered() {
  const LockGuard lock(s_mutex);
  return s_registered != nullptr;
}

int registrations() {
  const LockGuard lock(s_mutex);
  return s_registrationCount;
}

int freed() {
  const LockGuard lock(s_mutex);
  return s_freeCount;
}

std::string request(const Request& request) {
  OVHttpHandler handler{};
  {
    const LockGuard lock(s_mutex);
    if (s_registered == nullptr) {
      return "";
    }
    handler = *s_registered;
  }
  const GHashTablePtr parameters = tableOf(request.parameters);
  const GObjectPtr<GOutputStream> out(g_memory_output_stream_new_resizable());
  handler.callback(request.path.c_str(), request.method.c_str(),
                   request.query.empty() ? nullptr : request.query.c_str(), parameters.get(),
                   out.get(), handler.userData);
  return written(out.get());
}

}  // namespace FakeHttp

extern "C" {

OVHttpHandler* ov_http_handler_new(OVHttpCallback callback, void* userData) {
  const LockGuard lock(s_mutex);
  if (s_registrationsToFail > 0) {
    --s_registrationsToFail;
    return nullptr;
  }
  ++s_registrationCount;
  s_registered = new OVHttpHandler{callback, userData};
  return s_registered;
}

void ov_http_handler_free(OVHttpHandler* handler) {
  const LockGuard lock(s_mutex);
  ++s_freeCount;
  s_registered = s_registered == handler ? nullptr : s_registered;
  delete handler;
}

}  // extern "C"
