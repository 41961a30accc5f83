#include "onvif_client/camera_facts.h"

#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "onvif/namespaces.h"
#include "onvif_client/xml_number.h"

namespace device::onvif {
namespace {

constexpr std::size_t MOST_PROFILES = 100;
constexpr double MOST_PIXELS = 100000;

// Whatever its vocabulary: both media services have the same words for the same things.
std::optional<XmlElement> childNamed(const XmlElement& element, const std::string& name) {
  for (const XmlElement& child : element.children()) {
    if (child.name().name == name) {
      return child;
    }
  }
  return std::nullopt;
}

std::string textNamed(const XmlElement& element, const std::string& name) {
  const auto child = childNamed(element, name);
  return child ? child->text() : "";
}

int pixelsOf(const std::optional<double>& number) {
  return number && *number > 0 && *number < MOST_PIXELS ? static_cast<int>(std::lround(*number))
                                                        : 0;
}

// One of the configurations that a profile holds, in the words of either service.
std::optional<XmlElement> configuration(const XmlElement& profile, const std::string& first,
                                        const std::string& second) {
  if (const auto all = childNamed(profile, "Configurations")) {
    return childNamed(*all, second);
  }
  return childNamed(profile, first);
}

std::string tokenOf(const std::optional<XmlElement>& element) {
  return element ? element->attribute("token").value_or("") : "";
}

MediaProfile readProfile(const XmlElement& element) {
  MediaProfile profile;
  profile.token = element.attribute("token").value_or("");
  profile.name = textNamed(element, "Name");
  if (const auto source = configuration(element, "VideoSourceConfiguration", "VideoSource")) {
    profile.hasSource = true;
    if (const auto bounds = childNamed(*source, "Bounds")) {
      profile.sourceWidth = pixelsOf(numberOf(*bounds, "width"));
      profile.sourceHeight = pixelsOf(numberOf(*bounds, "height"));
    }
  }
  if (const auto encoder = configuration(element, "VideoEncoderConfiguration", "VideoEncoder")) {
    if (const auto resolution = childNamed(*encoder, "Resolution")) {
      profile.pictureWidth = pixelsOf(numberOf(textNamed(*resolution, "Width")));
      profile.pictureHeight = pixelsOf(numberOf(textNamed(*resolution, "Height")));
    }
  }
  profile.hasAnalytics =
      configuration(element, "VideoAnalyticsConfiguration", "Analytics").has_value();
  const auto metadata = configuration(element, "MetadataConfiguration", "Metadata");
  profile.metadata = tokenOf(metadata);
  const std::string objects = metadata ? textNamed(*metadata, "Analytics") : "";
  profile.metadataTellsObjects = objects == "true" || objects == "1";
  const auto ptz = configuration(element, "PTZConfiguration", "PTZ");
  profile.ptz = tokenOf(ptz);
  profile.ptzNode = ptz ? textNamed(*ptz, "NodeToken") : "";
  return profile;
}

}  // namespace

ServiceAddresses readServices(const XmlElement& response) {
  ServiceAddresses services;
  for (const XmlElement& service : response.children()) {
    const std::string address = textNamed(service, "XAddr");
    if (service.is(ns::DEVICE, "Service") && !address.empty()) {
      services.emplace(textNamed(service, "Namespace"), address);
    }
  }
  return services;
}

ServiceAddresses readCapabilities(const XmlElement& response) {
  ServiceAddresses services;
  const auto all = response.child(ns::DEVICE, "Capabilities");
  constexpr std::array<std::pair<const char*, const char*>, 3> SERVICES = {
      {{"Media", ns::MEDIA}, {"PTZ", ns::PTZ}, {"Events", ns::EVENTS}}};
  for (const auto& [name, nameSpace] : SERVICES) {
    const auto service = all ? all->child(ns::SCHEMA, name) : std::nullopt;
    const std::string address = service ? textNamed(*service, "XAddr") : "";
    if (!address.empty()) {
      services.emplace(nameSpace, address);
    }
  }
  return services;
}

CameraIdentity readIdentity(const XmlElement& response) {
  return {textNamed(response, "Manufacturer"), textNamed(response, "Model"),
          textNamed(response, "SerialNumber")};
}

std::vector<MediaProfile> readProfiles(const XmlElement& response) {
  std::vector<MediaProfile> profiles;
  for (const XmlElement& child : response.children()) {
    if (child.name().name == "Profiles" && profiles.size() < MOST_PROFILES) {
      profiles.push_back(readProfile(child));
    }
  }
  return profiles;
}

}  // namespace device::onvif
