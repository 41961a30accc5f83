#ifndef DEVICE_WEB_SERVER_APPLICATION_FORWARDER_H
#define DEVICE_WEB_SERVER_APPLICATION_FORWARDER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/glib_ptr.h"
#include "web_server/application_answer.h"
#include "web_server/application_request.h"

namespace device {

enum class ForwardResult_e { answered, unreachable, late };

// Hands requests to an application, which answers one at a time: one after another, in the order in
// which they came. The time that a request has begins when it is given.
class ApplicationForwarder {
 public:
  // answer: null unless the result is answered.
  using Done = std::function<void(ForwardResult_e result, const ApplicationAnswer* answer)>;

  // path: of the application's socket.
  ApplicationForwarder(std::string path, std::chrono::milliseconds timeout);
  ApplicationForwarder(const ApplicationForwarder&) = delete;
  ApplicationForwarder& operator=(const ApplicationForwarder&) = delete;

  // Requests without an answer are dropped, their done not called.
  ~ApplicationForwarder();

  // bytes: the request as it goes over the socket. done is called once, from the main loop.
  void forward(std::vector<std::uint8_t> bytes, Done done);

 private:
  struct Waiting;

  static gboolean late(gpointer waiting);
  void sendFirst();
  void answered(const std::string* text);
  void finish(const Waiting& over, ForwardResult_e result, const ApplicationAnswer* answer);

  std::string path;
  std::chrono::milliseconds timeout;
  std::list<Waiting> waiting;  // the first has been sent when request is set
  std::unique_ptr<ApplicationRequest> request;
};

}  // namespace device

#endif
