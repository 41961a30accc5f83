#ifndef DEVICE_ONVIF_CLIENT_SOAP_REPLY_H
#define DEVICE_ONVIF_CLIENT_SOAP_REPLY_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "onvif/envelope.h"

namespace device::onvif {

// Why a call has brought nothing.
enum class Trouble {
  unreachable,  // nobody there, or the connection broke
  timeOut,      // no answer in time
  password,     // the user or the password is wrong
  missing,      // the camera does not have the operation
  refused,      // any other fault
  malformed     // what came is no answer
};

struct Failure {
  Trouble trouble = Trouble::malformed;
  std::string words;  // for the user: what is wrong, in a sentence without its full stop
  std::vector<std::string>
      subcodes;  // of the fault, without prefixes: "InvalidArgVal", "NoProfile"

  bool hasSubcode(std::string_view name) const;
};

// What a call has brought: the element in the answer's body, or why there is none. Can be copied;
// copies share the document.
class SoapReply {
 public:
  explicit SoapReply(Failure failure) : content(std::move(failure)) {}
  explicit SoapReply(Envelope envelope)
      : content(std::make_shared<const Envelope>(std::move(envelope))) {}

  bool ok() const { return !std::holds_alternative<Failure>(content); }

  // Only of one that is ok; lives as long as any copy of the reply.
  const XmlElement& body() const {
    return std::get<std::shared_ptr<const Envelope>>(content)->operation;
  }
  // Only of one that is not.
  const Failure& failure() const { return std::get<Failure>(content); }

 private:
  std::variant<std::shared_ptr<const Envelope>, Failure> content;
};

// Reads what came by HTTP with a status. The body is read whatever the status is: cameras send
// faults with 200, 400, 401 and 500. Never throws.
SoapReply readReply(unsigned status, std::string_view body);

}  // namespace device::onvif

#endif
