#include "onvif_client/soap_reply.h"

#include <algorithm>
#include <array>
#include <utility>

#include "onvif/fault.h"
#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

constexpr std::size_t LONGEST_REASON = 200;  // bytes that are passed on to the user
constexpr int DEEPEST_SUBCODE = 8;
constexpr unsigned UNAUTHORIZED = 401;
constexpr unsigned NOT_FOUND = 404;
constexpr unsigned NOT_ALLOWED = 405;

constexpr std::array<std::string_view, 4> MISSING = {
    "ActionNotSupported", "UnknownAction", "OptionalActionNotImplemented", "NotImplemented"};

constexpr char PASSWORD[] = "The camera does not accept the user or the password";
constexpr char NOT_THERE[] = "The camera does not have this function";

std::string withoutPrefix(const std::string& name) {
  const std::size_t colon = name.find(':');
  return colon == std::string::npos ? name : name.substr(colon + 1);
}

std::vector<std::string> readSubcodes(const XmlElement& fault) {
  std::vector<std::string> subcodes;
  auto level = fault.child(ns::SOAP, "Code");
  for (int depth = 0; level && depth < DEEPEST_SUBCODE; ++depth) {
    level = level->child(ns::SOAP, "Subcode");
    const auto value = level ? level->child(ns::SOAP, "Value") : std::nullopt;
    if (value) {
      subcodes.push_back(withoutPrefix(value->text()));
    }
  }
  return subcodes;
}

std::string readReason(const XmlElement& fault) {
  const auto reason = fault.child(ns::SOAP, "Reason");
  const auto text = reason ? reason->child(ns::SOAP, "Text") : std::nullopt;
  std::string words = text ? text->text().substr(0, LONGEST_REASON) : "";
  std::ranges::replace_if(
      words, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return words;
}

Failure readFault(const XmlElement& fault) {
  Failure failure{Trouble::refused, "", readSubcodes(fault)};
  const auto isOneOf = [&](const auto& names) {
    return std::ranges::any_of(names, [&](auto name) { return failure.hasSubcode(name); });
  };
  if (failure.hasSubcode("NotAuthorized") || failure.hasSubcode("FailedAuthentication")) {
    failure.trouble = Trouble::password;
    failure.words = PASSWORD;
    return failure;
  }
  if (isOneOf(MISSING)) {
    failure.trouble = Trouble::missing;
    failure.words = NOT_THERE;
    return failure;
  }
  failure.words = "The camera refuses: " + readReason(fault);
  for (const std::string& subcode : failure.subcodes) {
    failure.words += " [" + subcode.substr(0, LONGEST_REASON) + "]";
  }
  return failure;
}

// Of an answer that is no message.
Failure failureOfStatus(unsigned status, const std::string& reason) {
  if (status == UNAUTHORIZED) {
    return {Trouble::password, PASSWORD, {}};
  }
  if (status == NOT_FOUND || status == NOT_ALLOWED) {
    return {Trouble::missing, NOT_THERE, {}};
  }
  return {Trouble::malformed, "What the camera answers cannot be read: " + reason, {}};
}

}  // namespace

bool Failure::hasSubcode(std::string_view name) const {
  return std::ranges::find(subcodes, name) != subcodes.end();
}

SoapReply readReply(unsigned status, std::string_view body) try {
  Envelope envelope = readEnvelope(body);
  if (envelope.operation.is(ns::SOAP, "Fault")) {
    return SoapReply(readFault(envelope.operation));
  }
  return SoapReply(std::move(envelope));
} catch (const Fault& fault) {
  return SoapReply(failureOfStatus(status, fault.what()));
}

}  // namespace device::onvif
