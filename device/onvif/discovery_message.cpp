#include "onvif/discovery_message.h"

#include <algorithm>

#include "base/glib_ptr.h"
#include "base/text.h"
#include "onvif/envelope.h"
#include "onvif/namespaces.h"
#include "onvif/tag.h"

namespace device::onvif {
namespace {

constexpr char ACTIONS[] = "http://schemas.xmlsoap.org/ws/2005/04/discovery/";
constexpr char EVERYBODY[] = "urn:schemas-xmlsoap-org:ws:2005:04:discovery";
constexpr char ANONYMOUS[] = "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous";
constexpr char BY_SEGMENTS[] = "http://schemas.xmlsoap.org/ws/2005/04/discovery/rfc3986";
constexpr std::string_view WHITE_SPACE = " \t\n\v\f\r";
constexpr std::size_t LONGEST_ID = 256;
// A datagram is far shorter than a request.
constexpr XmlLimits LIMITS{.bytes = 65536, .depth = 16, .elements = 256, .attributes = 64};

std::vector<std::string> words(const std::string& text) {
  const auto found = text::words(text, WHITE_SPACE);
  return {found.begin(), found.end()};
}

std::vector<XmlName> readTypes(const XmlElement& types) {
  std::vector<XmlName> result;
  for (const std::string& word : words(types.text())) {
    const std::size_t colon = word.find(':');
    const std::string prefix = colon != std::string::npos ? word.substr(0, colon) : "";
    const std::string name = colon != std::string::npos ? word.substr(colon + 1) : word;
    result.push_back({types.nameSpaceOf(prefix).value_or(""), name});
  }
  return result;
}

bool isOwnType(const XmlName& type) {
  return type == XmlName{ns::NETWORK, "NetworkVideoTransmitter"} ||
         type == XmlName{ns::DEVICE, "Device"};
}

// Whole segments of the path, from its beginning.
bool isScopeOf(std::string scope, const std::string& own) {
  if (scope.ends_with('/')) {
    scope.pop_back();
  }
  return own.starts_with(scope) && (own.size() == scope.size() || own[scope.size()] == '/');
}

std::string newId() {
  const GTextPtr text(g_uuid_string_random());
  return std::string("urn:uuid:") + text.get();
}

std::string message(const std::string& action, const std::string& to,
                    const std::optional<std::string>& relatesTo, const DiscoverySequence& sequence,
                    Tag body) {
  std::vector<Tag> headers = {Tag("a:MessageID", newId())};
  if (relatesTo) {
    headers.push_back(Tag("a:RelatesTo", *relatesTo));
  }
  headers.push_back(Tag("a:To", to));
  headers.push_back(Tag("a:Action", ACTIONS + action));
  headers.push_back(Tag("d:AppSequence", Attribute("InstanceId", std::to_string(sequence.instance)),
                        Attribute("MessageNumber", std::to_string(sequence.number))));
  return writeEnvelope(std::move(body), std::move(headers));
}

Tag endpoint(const DiscoveryDevice& device) {
  return Tag("a:EndpointReference", Tag("a:Address", device.address));
}

Tag description(const std::string& name, const DiscoveryDevice& device) {
  std::string scopes;
  for (const std::string& scope : device.scopes) {
    scopes += (scopes.empty() ? "" : " ") + scope;
  }
  return Tag(name, endpoint(device),
             Tag("d:Types", Attribute("xmlns:dn", ns::NETWORK), Attribute("xmlns:tds", ns::DEVICE),
                 "dn:NetworkVideoTransmitter tds:Device"),
             Tag("d:Scopes", scopes), Tag("d:XAddrs", device.xaddrs),
             Tag("d:MetadataVersion", "1"));
}

DiscoveryQuestion readProbe(const XmlElement& probe) {
  DiscoveryQuestion question;
  if (const auto types = probe.child(ns::DISCOVERY, "Types")) {
    question.types = readTypes(*types);
  }
  if (const auto scopes = probe.child(ns::DISCOVERY, "Scopes")) {
    question.scopes = words(scopes->text());
    question.areScopesCompared = scopes->attribute("MatchBy").value_or(BY_SEGMENTS) == BY_SEGMENTS;
  }
  return question;
}

DiscoveryQuestion readResolve(const XmlElement& resolve) {
  DiscoveryQuestion question;
  question.isResolve = true;
  const auto reference = resolve.child(ns::DISCOVERY_ADDRESSING, "EndpointReference");
  const auto address =
      reference ? reference->child(ns::DISCOVERY_ADDRESSING, "Address") : std::nullopt;
  question.address = address ? address->text() : "";
  return question;
}

}  // namespace

std::optional<DiscoveryQuestion> readDiscoveryQuestion(std::string_view datagram) try {
  const XmlDocument document(datagram, LIMITS);
  const XmlElement root = document.root();
  const auto header = root.child(ns::SOAP, "Header");
  const auto body = root.child(ns::SOAP, "Body");
  const auto id = header ? header->child(ns::DISCOVERY_ADDRESSING, "MessageID") : std::nullopt;
  const auto content = body ? body->firstChild() : std::nullopt;
  if (!root.is(ns::SOAP, "Envelope") || !id || !content) {
    return std::nullopt;
  }
  const bool isProbe = content->is(ns::DISCOVERY, "Probe");
  if (!isProbe && !content->is(ns::DISCOVERY, "Resolve")) {
    return std::nullopt;
  }
  DiscoveryQuestion question = isProbe ? readProbe(*content) : readResolve(*content);
  question.messageId = id->text().substr(0, LONGEST_ID);
  return question;
} catch (const XmlError&) {
  return std::nullopt;
}

bool isMeant(const DiscoveryQuestion& question, const DiscoveryDevice& device) {
  if (question.isResolve) {
    return question.address == device.address;
  }
  const auto isOwnScope = [&](const std::string& scope) {
    return std::ranges::any_of(device.scopes,
                               [&](const std::string& own) { return isScopeOf(scope, own); });
  };
  return std::ranges::all_of(question.types, isOwnType) && question.areScopesCompared &&
         std::ranges::all_of(question.scopes, isOwnScope);
}

std::string discoveryAnswer(const DiscoveryQuestion& question, const DiscoveryDevice& device,
                            const DiscoverySequence& sequence) {
  const std::string name = question.isResolve ? "Resolve" : "Probe";
  return message(name + "Matches", ANONYMOUS, question.messageId, sequence,
                 Tag("d:" + name + "Matches", description("d:" + name + "Match", device)));
}

std::string discoveryHello(const DiscoveryDevice& device, const DiscoverySequence& sequence) {
  return message("Hello", EVERYBODY, std::nullopt, sequence, description("d:Hello", device));
}

std::string discoveryBye(const DiscoveryDevice& device, const DiscoverySequence& sequence) {
  return message("Bye", EVERYBODY, std::nullopt, sequence, Tag("d:Bye", endpoint(device)));
}

}  // namespace device::onvif
