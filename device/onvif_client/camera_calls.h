#ifndef DEVICE_ONVIF_CLIENT_CAMERA_CALLS_H
#define DEVICE_ONVIF_CLIENT_CAMERA_CALLS_H

#include <libsoup/soup.h>

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "base/glib_ptr.h"
#include "onvif/tag.h"
#include "onvif_client/camera_clock.h"
#include "onvif_client/login.h"
#include "onvif_client/soap_reply.h"

namespace device::onvif {

// An address with the host and the port of another: what a camera tells of itself are often names
// and addresses of another network. What is no address stays as it is.
std::string reachedAt(const std::string& told, const std::string& reached);

// Calls of one camera's services over HTTP, in the main loop of its thread. Logs in by
// UsernameToken with the camera's time, which is fetched first and again after an hour or when a
// token was refused; by digest from the moment on at which the camera asks for it. Calls do not
// wait for each other, except for the time.
class CameraCalls {
 public:
  using Done = std::function<void(const SoapReply& reply)>;

  static constexpr unsigned TIME_OUT = 2000;                        // milliseconds, of one exchange
  static constexpr std::size_t MOST_ANSWER = std::size_t{1} << 20;  // bytes

  // device: address of the device service. Throws std::runtime_error for what is no address.
  CameraCalls(const std::string& device, Login login);
  CameraCalls(const CameraCalls&) = delete;
  CameraCalls& operator=(const CameraCalls&) = delete;

  // Nothing is told of calls that are still on their way.
  ~CameraCalls();

  // done is called once, later, from the main loop; it may make calls. address: as the camera told
  // it, host and port of which are replaced by those that reached the device.
  void call(const std::string& address, Tag operation, Done done, unsigned timeOut = TIME_OUT);

  const std::string& getDevice() const { return device; }
  const CameraClock& getClock() const { return clock; }

 private:
  struct Call;
  using CallPtr = std::shared_ptr<Call>;

  // How a call is signed, one way after another until it is let in.
  enum class Step { token, freshToken, tokenByDate, digest };

  // What came by HTTP.
  struct Exchange {
    std::optional<unsigned> status;  // nothing: nobody answered
    std::string body;
    Failure failure;                   // where there is no status
    std::optional<std::int64_t> date;  // of the camera, microseconds since 1970
  };

  void begin(std::string address, Tag operation, Done done, unsigned timeOut, bool isOpen);
  void start(const CallPtr& call);
  void send(const CallPtr& call);
  void came(const CallPtr& call, const Exchange& exchange);
  bool tryNext(Call& call, const Exchange& exchange);
  void finish(CallPtr call, const SoapReply& reply);
  void askTime();
  void timeCame(const SoapReply& reply);
  static void read(const CallPtr& call, GInputStream* stream);
  static void opened(GObject* session, GAsyncResult* result, gpointer waiting);
  static void wasRead(GObject* stream, GAsyncResult* result, gpointer waiting);
  static void setBody(SoupMessage* message, gpointer call);
  static gboolean isOver(gpointer call);
  static gboolean authenticate(SoupMessage* message, SoupAuth* auth, gboolean retrying,
                               gpointer call);

  std::string device;
  Login login;
  CameraClock clock;
  bool isByDigest = false;
  bool isTimeAsked = false;
  GObjectPtr<SoupSession> session;
  std::list<CallPtr> calls;
};

}  // namespace device::onvif

#endif
