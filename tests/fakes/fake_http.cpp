#include "fakes/fake_http.h"

#include <ovhttp.h>

#include <memory>
#include <mutex>

struct OVHttpHandler {
  OVHttpCallback callback;
  void* userData;
};

namespace {

std::mutex mutex;  // guards all below
OVHttpHandler* registered = nullptr;
int registrationsToFail = 0;
int registrationCount = 0;
int freeCount = 0;

using Table = std::unique_ptr<GHashTable, decltype(&g_hash_table_unref)>;
using Stream = std::unique_ptr<GOutputStream, decltype(&g_object_unref)>;

Table tableOf(const std::map<std::string, std::string>& fields) {
  Table table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free), g_hash_table_unref);
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
  const std::lock_guard lock(mutex);
  registrationsToFail = 0;
  registrationCount = 0;
  freeCount = 0;
}

void failRegistrations(int count) {
  const std::lock_guard lock(mutex);
  registrationsToFail = count;
}

bool isRegistered() {
  const std::lock_guard lock(mutex);
  return registered != nullptr;
}

int registrations() {
  const std::lock_guard lock(mutex);
  return registrationCount;
}

int freed() {
  const std::lock_guard lock(mutex);
  return freeCount;
}

std::string request(const Request& request) {
  OVHttpHandler handler{};
  {
    const std::lock_guard lock(mutex);
    if (registered == nullptr) {
      return "";
    }
    handler = *registered;
  }
  const Table parameters = tableOf(request.parameters);
  const Stream out(g_memory_output_stream_new_resizable(), g_object_unref);
  handler.callback(request.path.c_str(), request.method.c_str(),
                   request.query.empty() ? nullptr : request.query.c_str(), parameters.get(),
                   out.get(), handler.userData);
  return written(out.get());
}

}  // namespace FakeHttp

extern "C" {

OVHttpHandler* ov_http_handler_new(OVHttpCallback callback, void* user_data) {
  const std::lock_guard lock(mutex);
  if (registrationsToFail > 0) {
    --registrationsToFail;
    return nullptr;
  }
  ++registrationCount;
  registered = new OVHttpHandler{callback, user_data};
  return registered;
}

void ov_http_handler_free(OVHttpHandler* handler) {
  const std::lock_guard lock(mutex);
  ++freeCount;
  registered = registered == handler ? nullptr : registered;
  delete handler;
}

}  // extern "C"
