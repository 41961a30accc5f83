#include "onvif/envelope.h"

#include <algorithm>
#include <array>
#include <utility>

#include "onvif/fault.h"
#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

constexpr std::array<std::string_view, 2> UNDERSTOOD = {ns::ADDRESSING, ns::SECURITY};

Fault malformed(const std::string& reason) {
  return {FaultCode::sender, {"ter:WellFormed"}, reason};
}

XmlDocument readDocument(std::string_view text) try {
  return XmlDocument(text);
} catch (const XmlError& error) {
  throw malformed(error.what());
}

XmlElement readBody(const XmlElement& root) {
  if (root.is(ns::SOAP_1_1, "Envelope")) {
    throw Fault(FaultCode::versionMismatch, {}, "SOAP 1.2 is spoken here");
  }
  if (!root.is(ns::SOAP, "Envelope")) {
    throw malformed("This is no SOAP message");
  }
  const auto body = root.child(ns::SOAP, "Body");
  const auto operation = body ? body->firstChild() : std::nullopt;
  if (!operation) {
    throw malformed("The message has an empty body");
  }
  return *operation;
}

void requireUnderstood(const XmlElement& header) {
  const auto must = header.attribute(ns::SOAP, "mustUnderstand");
  const bool isAsked = must == "1" || must == "true";
  if (isAsked && std::ranges::count(UNDERSTOOD, header.name().nameSpace) == 0) {
    throw Fault(FaultCode::mustUnderstand, {}, "A header is not understood");
  }
}

}  // namespace

Envelope readEnvelope(std::string_view text) {
  XmlDocument document = readDocument(text);
  const XmlElement root = document.root();
  const XmlElement operation = readBody(root);
  Envelope envelope{std::move(document), operation, std::nullopt, ""};
  const auto header = root.child(ns::SOAP, "Header");
  if (!header) {
    return envelope;
  }
  for (const XmlElement& part : header->children()) {
    requireUnderstood(part);
  }
  if (const auto security = header->child(ns::SECURITY, "Security")) {
    envelope.token = readUserToken(*security);
  }
  if (const auto id = header->child(ns::ADDRESSING, "MessageID")) {
    envelope.messageId = id->text();
  }
  return envelope;
}

std::string writeEnvelope(Tag body, std::vector<Tag> headers) {
  Tag envelope("s:Envelope");
  if (!headers.empty()) {
    envelope.add(Tag("s:Header", std::move(headers)));
  }
  envelope.add(Tag("s:Body", std::move(body)));
  return envelope.document();
}

}  // namespace device::onvif
