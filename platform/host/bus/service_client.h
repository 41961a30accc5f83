// Calls to one service of the device on the system bus.
//
// A service has one interface, and its bus name is the name of the interface. Calls go to that name
// rather than through a proxy object: a proxy remembers who owned the name and learns of a
// restarted service only where a main loop runs, and these libraries must work without one. A bus
// that was lost is looked for again with every call.
//
// Any thread may call; each call blocks for the answer, 3 s at most. A service that has let a call
// pass is waited for half a second only until it answers again: whoever makes several calls, to end
// for instance, does not wait for all of them.
#ifndef BUS_SERVICE_CLIENT_H
#define BUS_SERVICE_CLIENT_H

#include <atomic>
#include <memory>
#include <string>

#include "base/glib_ptr.h"
#include "base/mutex.h"

class ServiceClient {
 public:
  // Null, with *error set when error is not null, when the bus cannot be reached or nobody owns the
  // name.
  static std::unique_ptr<ServiceClient> connect(const char* name, const char* path, GError** error);

  // Consumes arguments when they are floating. reply is the type of the answer. Null, with *error
  // set when error is not null, when there is no such answer; its message is the service's own.
  GVariantPtr call(const char* method, GVariant* arguments, const char* reply,
                   GError** error) const;

  // The connection, made anew when the bus was lost; null, with *error set when error is not null,
  // while there is no bus.
  GObjectPtr<GDBusConnection> bus(GError** error) const;

  // Who owns the name on a connection, as the bus names each of its clients; empty, with *error set
  // when error is not null, when nobody does.
  std::string owner(GDBusConnection* bus, GError** error) const;

  // A call to one owner of the name, whoever has it now.
  GVariantPtr callOwner(GDBusConnection* bus, const std::string& owner, const char* method,
                        GVariant* arguments, const char* reply, GError** error) const;

  // The same without waiting. done is called on the caller's thread-default main context, in order
  // with the signals that the service sends before and after it handles the call.
  void callOwnerAsync(GDBusConnection* bus, const std::string& owner, const char* method,
                      GVariant* arguments, const char* reply, GAsyncReadyCallback done,
                      void* userData) const;

  const char* getName() const { return name.c_str(); }
  const char* getPath() const { return path.c_str(); }

 private:
  ServiceClient(GObjectPtr<GDBusConnection> connection, const char* name, const char* path);

  mutable Mutex mutex;
  mutable GObjectPtr<GDBusConnection> connection GUARDED_BY(mutex);
  mutable std::atomic<bool> isSilent = false;  // the last call was not answered in time
  std::string name;
  std::string path;
};

#endif
