#include "bridge/metadata_switch.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "onvif/namespaces.h"

namespace device::bridge {

namespace {

using onvif::Attribute;
using onvif::SoapReply;
using onvif::Tag;
using onvif::XmlElement;
namespace ns = onvif::ns;

constexpr std::array<const char*, 3> ATTRIBUTES = {"token", "GeoLocation", "ShapePolygon"};
// What the schema has before the analytics.
constexpr std::array<std::string_view, 4> BEFORE = {"Name", "UseCount", "PTZStatus", "Events"};

// What has no prefix here is an extension of the camera's maker: it is left out.
std::optional<Tag> copyOf(const XmlElement& element) {
  const auto name = element.name();
  const std::string_view prefix = onvif::prefixOfNameSpace(name.nameSpace);
  if (prefix.empty()) {
    return std::nullopt;
  }
  Tag copy(std::string(prefix).append(":").append(name.name));
  if (const auto dialect = element.attribute("Dialect")) {
    copy.add(Attribute("Dialect", *dialect));
    copy.add(Attribute("xmlns:tns1", ns::TOPICS));  // of the names in its text
  }
  if (const std::string text = element.text(); !text.empty()) {
    copy.add(text);
  }
  for (const XmlElement& child : element.children()) {
    copy.add(copyOf(child));
  }
  return copy;
}

}  // namespace

Tag tellingObjects(const XmlElement& configuration, const std::string& prefix) {
  Tag wanted(prefix + ":Configuration");
  for (const char* name : ATTRIBUTES) {
    if (const auto value = configuration.attribute(name)) {
      wanted.add(Attribute(name, *value));
    }
  }
  if (configuration.attribute("CompressionType")) {
    wanted.add(Attribute("CompressionType", "None"));
  }
  const auto isBefore = [](const XmlElement& child) {
    return std::ranges::find(BEFORE, child.name().name) != BEFORE.end();
  };
  bool isSwitched = false;
  for (const XmlElement& child : configuration.children()) {
    if (!isBefore(child) && !std::exchange(isSwitched, true)) {
      wanted.add(Tag("tt:Analytics", true));
    }
    if (child.name().name != "Analytics") {
      wanted.add(copyOf(child));
    }
  }
  if (!isSwitched) {
    wanted.add(Tag("tt:Analytics", true));
  }
  return wanted;
}

MetadataSwitch::MetadataSwitch(const std::string& device, const onvif::Login& login,
                               const CameraAbilities& abilities, const onvif::MediaProfile& profile,
                               Done done)
    : isMedia2(abilities.hasMedia2()),
      service(abilities.services.at(isMedia2 ? ns::MEDIA2 : ns::MEDIA)),
      profile(profile.token),
      token(profile.metadata),
      done(std::move(done)),
      calls(device, login) {
  ask(Tag(isMedia2 ? "tr2:GetMetadataConfigurations" : "trt:GetMetadataConfigurations"),
      &MetadataSwitch::configurationsCame);
}

void MetadataSwitch::ask(Tag operation, Next next) {
  calls.call(service, std::move(operation), [this, next](const SoapReply& reply) {
    if (reply.ok()) {
      return (this->*next)(reply.body());
    }
    done(reply.failure().trouble == onvif::Trouble::missing
             ? "The camera does not let itself be changed from here: switch analytics on in its "
               "metadata on its own page"
             : "The camera has not switched its metadata on. " + reply.failure().words);
  });
}

void MetadataSwitch::configurationsCame(const XmlElement& response) {
  std::optional<XmlElement> chosen;
  for (const XmlElement& one : response.children()) {
    const bool isOurs = token.empty() ? !chosen : one.attribute("token") == token;
    chosen = isOurs ? std::optional(one) : chosen;
  }
  if (!chosen) {
    return done("The camera has no metadata configuration: make one on its own page");
  }
  wanted = tellingObjects(*chosen, isMedia2 ? "tr2" : "trt");
  if (!token.empty()) {
    return set();
  }
  const std::string added = chosen->attribute("token").value_or("");
  ask(isMedia2 ? Tag("tr2:AddConfiguration", Tag("tr2:ProfileToken", profile),
                     Tag("tr2:Configuration", Tag("tr2:Type", "Metadata"), Tag("tr2:Token", added)))
               : Tag("trt:AddMetadataConfiguration", Tag("trt:ProfileToken", profile),
                     Tag("trt:ConfigurationToken", added)),
      &MetadataSwitch::wasAdded);
}

void MetadataSwitch::wasAdded(const XmlElement&) {
  set();
}

void MetadataSwitch::set() {
  ask(isMedia2 ? Tag("tr2:SetMetadataConfiguration", std::move(*wanted))
               : Tag("trt:SetMetadataConfiguration", std::move(*wanted),
                     Tag("trt:ForcePersistence", true)),
      &MetadataSwitch::wasSet);
}

void MetadataSwitch::wasSet(const XmlElement&) {
  done("");
}

}  // namespace device::bridge
