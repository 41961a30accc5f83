#ifndef DEVICE_WEB_SERVER_APPLICATION_REQUEST_H
#define DEVICE_WEB_SERVER_APPLICATION_REQUEST_H

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/glib_ptr.h"

namespace device {

// One exchange with an application over its local socket, in the main loop: connects, sends, and
// reads until the application ends the stream.
class ApplicationRequest {
 public:
  // answer: all that came; null when the application is not there, broke off before its first byte
  // or sent more than an answer can be.
  using Done = std::function<void(const std::string* answer)>;

  static constexpr std::size_t MAX_ANSWER_SIZE = std::size_t{64} << 20;

  // done is called once, never from here; the object may be destroyed from it.
  ApplicationRequest(const std::string& path, std::vector<std::uint8_t> bytes, Done done);
  ApplicationRequest(const ApplicationRequest&) = delete;
  ApplicationRequest& operator=(const ApplicationRequest&) = delete;

  // Breaks off; done is not called any more.
  ~ApplicationRequest();

 private:
  // What GLib's operations hold on to; they may outlive the request.
  struct Exchange;

  std::shared_ptr<Exchange> exchange;
};

}  // namespace device

#endif
