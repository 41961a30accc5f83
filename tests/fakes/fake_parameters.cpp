#include "fakes/fake_parameters.h"

#include <gio/gio.h>
#include <ovparameter.h>

#include <map>
#include <set>
#include <string_view>

#include "base/mutex.h"

struct OVParameter {
  std::string appName;
};

namespace {

struct Store {
  Mutex mutex;  // guards all below
  std::map<std::string, std::string> values;
  std::set<std::string> silent;
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
  theStore().silent.clear();
  theStore().reads.clear();
  theStore().opensToFail = 0;
  theStore().opened = 0;
  theStore().freed = 0;
}

void set(const std::string& name, const std::string& value) {
  const LockGuard lock(theStore().mutex);
  theStore().values[fullName(name)] = value;
  theStore().silent.erase(fullName(name));
}

void remove(const std::string& name) {
  const LockGuard lock(theStore().mutex);
  theStore().values.erase(fullName(name));
  theStore().silent.erase(fullName(name));
}

void silence(const std::string& name) {
  const LockGuard lock(theStore().mutex);
  theStore().silent.insert(fullName(name));
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
  if (theStore().silent.contains(fullName(name))) {
    g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "no answer");
    return FALSE;
  }
  if (found == theStore().values.end()) {
    g_set_error_literal(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS, "no such parameter");
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
