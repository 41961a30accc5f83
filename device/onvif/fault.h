#ifndef DEVICE_ONVIF_FAULT_H
#define DEVICE_ONVIF_FAULT_H

#include <stdexcept>
#include <string>
#include <vector>

#include "onvif/tag.h"

namespace device::onvif {

enum class FaultCode { sender, receiver, versionMismatch, mustUnderstand };

// Why a request is refused, as SOAP 1.2 tells it: a code, subcodes from the general to the
// particular ("ter:InvalidArgVal", "ter:NoProfile"), and a reason for people.
class Fault : public std::runtime_error {
 public:
  Fault(FaultCode code, std::vector<std::string> subcodes, const std::string& reason)
      : std::runtime_error(reason), code(code), subcodes(std::move(subcodes)) {}

  FaultCode getCode() const { return code; }
  const std::vector<std::string>& getSubcodes() const { return subcodes; }

  // What HTTP says along with it: 400 for what the sender did wrong, else 500.
  unsigned httpStatus() const;

  // The element s:Fault.
  Tag tag() const;

 private:
  FaultCode code;
  std::vector<std::string> subcodes;
};

// An argument has no meaning here; detail: the second subcode.
Fault invalidArgument(const std::string& detail, const std::string& reason);
// The elements of a request are not those of its operation.
Fault invalidArguments(const std::string& reason);
Fault notAuthorized();

}  // namespace device::onvif

#endif
