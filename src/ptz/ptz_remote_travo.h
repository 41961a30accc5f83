#ifndef PTZ_PTZ_REMOTE_TRAVO_H
#define PTZ_PTZ_REMOTE_TRAVO_H

#include <gio/gio.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

// The link over which the properties of the PTZ head are read: a service on the system bus hands
// out a local stream socket, on which one request line is answered by lines of the form name=value.
//
// Every failure is logged and comes back as nothing, -1 or false. Calls block for up to 5 s each.
// No lock: used by the tracker alone.
class PtzRemoteTravo {
 public:
  PtzRemoteTravo();
  PtzRemoteTravo(const PtzRemoteTravo&) = delete;
  PtzRemoteTravo& operator=(const PtzRemoteTravo&) = delete;
  ~PtzRemoteTravo();

  // The connected socket, opened on demand and kept; -1 on failure.
  int request_socket();

  // Sends a text; the number of bytes sent, or -1. A send that fails is tried once more on a fresh
  // socket. null is refused.
  int send_request(const char* request);

  // Sends a request; the reply from the last place of the needle on.
  std::optional<std::string> send_rec(const char* request, const char* needle);

  // The value of one parameter.
  std::optional<std::string> get_remote_param(const char* name);

  // The out-argument is written on success only.
  bool getProdNbr(std::string& number);
  bool getMinFieldAngle(double& degrees);
  bool getMaxFieldAngle(double& degrees);
  bool getMinZoom(int& zoom);
  bool getMaxZoom(int& zoom);

  // Width over height of the head's picture; always succeeds.
  bool getAspectRatio(double& ratio);

  // The head to talk to; negative means none.
  void setChannel(std::int32_t number) { channel = number; }

 private:
  struct Unref {
    void operator()(GDBusProxy* proxy) const { g_object_unref(proxy); }
  };

  bool createProxy();
  bool isProxyUsable() const;
  std::optional<std::string> openChannel();
  std::optional<std::string> receive();
  void closeSocket();
  bool getFieldAngle(const char* name, double& degrees);
  bool getZoom(const char* name, int& zoom);

  std::int32_t channel = 1;
  std::unique_ptr<GDBusProxy, Unref> proxy;
  std::int32_t socketFd = -1;
};

#endif
