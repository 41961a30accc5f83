#include "onvif/fault.h"

#include <optional>
#include <utility>

namespace device::onvif {
namespace {

const char* nameOf(FaultCode code) {
  switch (code) {
    case FaultCode::sender:
      return "s:Sender";
    case FaultCode::receiver:
      return "s:Receiver";
    case FaultCode::versionMismatch:
      return "s:VersionMismatch";
    case FaultCode::mustUnderstand:
      return "s:MustUnderstand";
  }
  return "s:Receiver";
}

// Names in texts; the writer sees only those of elements.
Attribute errorNames() {
  return {"xmlns:ter", "http://www.onvif.org/ver10/error"};
}

}  // namespace

unsigned Fault::httpStatus() const {
  return code == FaultCode::sender ? 400 : 500;
}

Tag Fault::tag() const {
  std::optional<Tag> inner;
  for (auto subcode = subcodes.rbegin(); subcode != subcodes.rend(); ++subcode) {
    inner = Tag("s:Subcode", Tag("s:Value", *subcode), std::move(inner));
  }
  return Tag("s:Fault", errorNames(), Tag("s:Code", Tag("s:Value", nameOf(code)), std::move(inner)),
             Tag("s:Reason", Tag("s:Text", Attribute("xml:lang", "en"), what())));
}

Fault invalidArgument(const std::string& detail, const std::string& reason) {
  return {FaultCode::sender, {"ter:InvalidArgVal", detail}, reason};
}

Fault invalidArguments(const std::string& reason) {
  return {FaultCode::sender, {"ter:InvalidArgs"}, reason};
}

Fault notAuthorized() {
  return {FaultCode::sender, {"ter:NotAuthorized"}, "The sender is not authorized"};
}

}  // namespace device::onvif
