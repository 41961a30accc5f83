#include "fakes/fake_parameters.h"

#include <ovparameter.h>

#include <map>
#include <string_view>

#include "base/mutex.h"

struct OVParameter {
  std::string appName;
};

namespace {

struct Store {
  Mutex mutex;  // guards all below
  std::map<std::string, std::string> values;
  std::vector<std::string> reads;
  int opensToFail = 0;
  int opened = 0;
  int freed = 0;
};

Store& theStore() {
  static Store s_store;
  return s_store;
}

// "Brand.ProdNbr" and "root.Brand.ProdNbr" name the same parameter.
std::string fullName(std::string_view name) {
  return name.starts_with("root.") ? std::string(name) : "root." + std::string(name);
}

void setError(GError** error, const char* text) {
  g_set_error_literal(error, g_quark_from_static_string("fake-parameters"), 1, text);
}

}  // namespace

namespace FakeParameters {

void reset() {
  const LockGuard lock(theStore().mutex);
  theStore().values.clear();
  theStore().reads.clear();
  theStore().opensToFail = 0;
  theStore().opened = 0;
  theStore().freed = 0;
}

void set(const std::string& name, const std::string& value) {
  const LockGuard lock(theStore().mutex);
  theStore().values[fullName(name)] = value;
}

void remove(const std::string& name) {
  const LockGuard lock(theStore().mutex);
  theStore().values.erase(fullName(name));
}

void failOpens(int count) {
  const LockGuard lock(theStore().mutex);
  theStore().opensToFail = count;
}

std::vector<std::string> reads() {
  const LockGuard lock(theStore().mutex);
  return theStore().reads;
}

int openCount() {
  const LockGuard lock(theStore().mutex);
  return theStore().opened;
}

int freeCount() {
  const LockGuard lock(theStore().mutex);
  return theStore().freed;
}

}  // namespace FakeParameters

extern "C" {

OVParameter* ov_parameter_new(const char* appName, GError** error) {
  const LockGuard lock(theStore().mutex);
  if (theStore().opensToFail > 0) {
    --theStore().opensToFail;
    setError(error, "the store cannot be reached");
    return nullptr;
  }
  ++theStore().opened;
  return new OVParameter{appName};
}

gboolean ov_parameter_get(OVParameter*, const char* name, char** value, GError** error) {
  const LockGuard lock(theStore().mutex);
  theStore().reads.emplace_back(name);
  const auto found = theStore().values.find(fullName(name));
  if (found == theStore().values.end()) {
    setError(error, "no such parameter");
    return FALSE;
  }
  *value = g_strdup(found->second.c_str());
  return TRUE;
}

void ov_parameter_free(OVParameter* handle) {
  if (handle == nullptr) {
    return;
  }
  delete handle;
  const LockGuard lock(theStore().mutex);
  ++theStore().freed;
}

}  // extern "C"
