#ifndef DEVICE_ONVIF_ENVELOPE_H
#define DEVICE_ONVIF_ENVELOPE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "onvif/tag.h"
#include "onvif/user_token.h"
#include "onvif/xml.h"

namespace device::onvif {

constexpr char SOAP_TYPE[] = "application/soap+xml; charset=utf-8";

// A SOAP message as it came.
struct Envelope {
  XmlDocument document;
  XmlElement operation;  // the first element of the body; lives as long as the document
  std::optional<UserToken> token;
  std::string messageId;  // of WS-Addressing; empty when there is none
};

// Throws Fault: for what is no SOAP 1.2 message, and for a header that has to be understood and is
// not.
Envelope readEnvelope(std::string_view text);

// A message with one element in its body.
std::string writeEnvelope(Tag body, std::vector<Tag> headers = {});

}  // namespace device::onvif

#endif
