// Calls to one service of the device on the system bus.
//
// A service has one interface, and its bus name is the name of the interface. Calls go to that name
// rather than through a proxy object: a proxy remembers who owned the name and learns of a
// restarted service only where a main loop runs, and these libraries must work without one.
//
// Any thread may call; each call blocks for the answer, 5 s at most.
#ifndef BUS_SERVICE_CLIENT_H
#define BUS_SERVICE_CLIENT_H

#include <memory>
#include <string>

#include "bus/g_ptr.h"

class ServiceClient {
 public:
  // Null, with *error set when error is not null, when the bus cannot be reached or nobody owns the
  // name.
  static std::unique_ptr<ServiceClient> connect(const char* name, const char* path, GError** error);

  // Consumes arguments when they are floating. reply is the type of the answer. Null, with *error
  // set when error is not null, when there is no such answer; its message is the service's own.
  GVariantPtr call(const char* method, GVariant* arguments, const char* reply,
                   GError** error) const;

  // The same without waiting. done is called on the caller's thread-default main context, in order
  // with the signals that the service sends before and after it handles the call.
  void callAsync(const char* method, GVariant* arguments, const char* reply,
                 GAsyncReadyCallback done, void* user_data) const;

  GDBusConnection* connection() const { return connection_.get(); }
  const char* name() const { return name_.c_str(); }
  const char* path() const { return path_.c_str(); }

 private:
  ServiceClient(GObjectPtr<GDBusConnection> connection, const char* name, const char* path);

  GObjectPtr<GDBusConnection> connection_;
  std::string name_;
  std::string path_;
};

#endif
