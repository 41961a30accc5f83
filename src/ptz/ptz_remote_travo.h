#ifndef PTZ_PTZ_REMOTE_TRAVO_H
#define PTZ_PTZ_REMOTE_TRAVO_H

#include <gio/gio.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "app/lock_order.h"
#include "base/file_descriptor.h"
#include "base/glib_ptr.h"
#include "base/mutex.h"

// The link over which the properties of the PTZ head are read: a service on the system bus hands
// out a local stream socket, on which one request line is answered by lines of the form name=value.
//
// Every failure is logged and comes back as nothing, -1 or false. Each wait for the head or the
// service lasts 5 s at most. Used by one thread alone; cancel may be called by any.
class PtzRemoteTravo {
 public:
  // While one is alive, what is asked belongs together: after a wait in vain the head counts as
  // gone, and whatever else is asked fails at once, unasked. cancel() does the same at any time.
  // The next attempt asks anew. One that is made within another is part of it.
  class Attempt {
   public:
    explicit Attempt(PtzRemoteTravo& link) : link(link), isOwner(link.beginAttempt()) {}
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;
    ~Attempt() {
      if (isOwner) {
        link.endAttempt();
      }
    }

   private:
    PtzRemoteTravo& link;
    const bool isOwner;
  };

  PtzRemoteTravo();
  PtzRemoteTravo(const PtzRemoteTravo&) = delete;
  PtzRemoteTravo& operator=(const PtzRemoteTravo&) = delete;
  ~PtzRemoteTravo();

  // The connected socket, opened on demand and kept; -1 on failure.
  int request_socket();

  // Sends a text; the number of bytes sent, or -1. A send that fails is tried once more on a fresh
  // socket. null is refused.
  int send_request(const char* request);

  // Cuts the attempt that is under way short, also while it waits. Any thread.
  void cancel();

  // Sends a request; the reply from the last place of the needle on. The line that begins there has
  // to end within two reads of 255 bytes.
  std::optional<std::string> send_rec(const char* request, const char* needle);

  // The value of one parameter.
  std::optional<std::string> get_remote_param(const char* name);

  // The out-argument is written on success only.
  bool getProdNbr(std::string& number);
  bool getMinFieldAngle(double& degrees);
  bool getMaxFieldAngle(double& degrees);
  bool getMinZoom(int& zoom);
  bool getMaxZoom(int& zoom);

  // Degrees between which an axis ("Pan" or "Tilt") can stand. Heads need not tell.
  bool getStops(const std::string& axis, double& lowest, double& highest);

  // Width over height of the head's picture; always succeeds.
  bool getAspectRatio(double& ratio);

  // The head to talk to; negative means none.
  // Only for other applications of these classes.
  void setChannel(std::int32_t number) { channel = number; }

 private:
  bool beginAttempt();
  void endAttempt();
  bool isAttemptOver() const;

  // What cuts the attempt short, or null; for the thread that alone begins and ends attempts.
  GCancellable* getCancellable() const;
  bool waitFor(int fd, gushort condition, int milliseconds);

  bool createProxy();
  bool isProxyUsable() const;
  std::optional<std::string> openChannel(int milliseconds);
  FileDescriptor connectTo(const std::string& path);
  bool canTryAgain(gushort condition);
  bool sendAll(std::string_view text);
  std::optional<std::string> receive();
  std::optional<double> readFieldAngle(const char* name);
  std::optional<int> readZoom(const char* name);

  std::int32_t channel = 1;
  GObjectPtr<GDBusProxy> proxy;
  FileDescriptor socketFd;  // does not block

  bool isGone = false;  // the head, for the rest of the attempt

  mutable Mutex attemptMutex ACQUIRED_AFTER(lock_order::TRACKER) ACQUIRED_BEFORE(lock_order::RETRY);
  GObjectPtr<GCancellable> cancellable GUARDED_BY(attemptMutex);  // null while there is no attempt
};

#endif
