#include "onvif_server/media_operations.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "onvif/fault.h"
#include "onvif/namespaces.h"
#include "onvif_server/ptz_operations.h"

namespace device::onvif {
namespace {

constexpr int QUALITY = 5;
constexpr int BITRATE = 4096;  // kilobits per second
constexpr int GROUP = 10;      // pictures from one that stands alone to the next

Tag multicastTag() {
  return Tag("tt:Multicast",
             Tag("tt:Address", Tag("tt:Type", "IPv4"), Tag("tt:IPv4Address", "0.0.0.0")),
             Tag("tt:Port", 0), Tag("tt:TTL", 1), Tag("tt:AutoStart", false));
}

const char* encodingOf(const CameraProfile& profile) {
  return profile.isJpeg() ? "JPEG" : "H264";
}

Tag encoder1(const std::string& name, const CameraProfile& profile) {
  Tag tag(name, Attribute("token", profile.encoder()), Tag("tt:Name", profile.name),
          Tag("tt:UseCount", 1), Tag("tt:Encoding", encodingOf(profile)),
          resolutionTag("tt:Resolution", profile), Tag("tt:Quality", QUALITY),
          Tag("tt:RateControl", Tag("tt:FrameRateLimit", FRAMES_PER_SECOND),
              Tag("tt:EncodingInterval", 1), Tag("tt:BitrateLimit", BITRATE)));
  if (!profile.isJpeg()) {
    tag.add(Tag("tt:H264", Tag("tt:GovLength", GROUP), Tag("tt:H264Profile", "Baseline")));
  }
  return std::move(tag.add(multicastTag()).add(Tag("tt:SessionTimeout", "PT60S")));
}

Tag encoder2(const std::string& name, const CameraProfile& profile) {
  Tag tag(name, Attribute("token", profile.encoder()));
  if (!profile.isJpeg()) {
    tag.add(Attribute("GovLength", GROUP)).add(Attribute("Profile", "Baseline"));
  }
  return std::move(tag.add(Tag("tt:Name", profile.name))
                       .add(Tag("tt:UseCount", 1))
                       .add(Tag("tt:Encoding", encodingOf(profile)))
                       .add(resolutionTag("tt:Resolution", profile))
                       .add(Tag("tt:RateControl", Tag("tt:FrameRateLimit", FRAMES_PER_SECOND),
                                Tag("tt:BitrateLimit", BITRATE)))
                       .add(Tag("tt:Quality", QUALITY)));
}

// The overview cameras have analytics, the head has a status.
Tag metadataTag(const std::string& name, const CameraProfile& profile) {
  Tag tag(name, Attribute("token", profile.metadata()), Tag("tt:Name", profile.name),
          Tag("tt:UseCount", USES));
  if (profile.isHead()) {
    tag.add(Tag("tt:PTZStatus", Tag("tt:Status", true), Tag("tt:Position", true)));
  }
  return std::move(tag.add(Tag("tt:Events"))
                       .add(Tag("tt:Analytics", !profile.isHead()))
                       .add(multicastTag())
                       .add(Tag("tt:SessionTimeout", "PT60S")));
}

// What a client may ask for: as the configurations are fixed, what they have.
Tag metadataOptions(const std::string& name, const CameraProfile& profile) {
  const bool isHead = profile.isHead();
  return Tag(name,
             Tag("tt:PTZStatusFilterOptions", Tag("tt:PanTiltStatusSupported", isHead),
                 Tag("tt:ZoomStatusSupported", isHead), Tag("tt:PanTiltPositionSupported", isHead),
                 Tag("tt:ZoomPositionSupported", isHead)));
}

Tag exactRange(const std::string& name, int value) {
  return Tag(name, Tag("tt:Min", value), Tag("tt:Max", value));
}

Tag encodingOptions1(const CameraProfile& profile) {
  Tag tag(profile.isJpeg() ? "tt:JPEG" : "tt:H264",
          resolutionTag("tt:ResolutionsAvailable", profile));
  if (!profile.isJpeg()) {
    tag.add(exactRange("tt:GovLengthRange", GROUP));
  }
  tag.add(exactRange("tt:FrameRateRange", FRAMES_PER_SECOND));
  tag.add(exactRange("tt:EncodingIntervalRange", 1));
  if (!profile.isJpeg()) {
    tag.add(Tag("tt:H264ProfilesSupported", "Baseline"));
  }
  return tag;
}

// The vocabulary has JPEG before H.264.
Tag encoderOptions1(const std::vector<CameraProfile>& each) {
  Tag options("trt:Options", exactRange("tt:QualityRange", QUALITY));
  for (const bool isJpeg : {true, false}) {
    for (const CameraProfile& profile : each) {
      if (profile.isJpeg() == isJpeg) {
        options.add(encodingOptions1(profile));
      }
    }
  }
  return Tag("trt:GetVideoEncoderConfigurationOptionsResponse", std::move(options));
}

Tag encodingOptions2(const CameraProfile& profile) {
  Tag tag("tr2:Options", Attribute("FrameRatesSupported", std::to_string(FRAMES_PER_SECOND)));
  if (!profile.isJpeg()) {
    tag.add(Attribute("GovLengthRange", std::to_string(GROUP)));
    tag.add(Attribute("ProfilesSupported", "Baseline"));
  }
  return std::move(tag.add(Tag("tt:Encoding", encodingOf(profile)))
                       .add(exactRange("tt:QualityRange", QUALITY))
                       .add(resolutionTag("tt:ResolutionsAvailable", profile))
                       .add(exactRange("tt:BitrateRange", BITRATE)));
}

Tag encoderOptions2(const std::vector<CameraProfile>& each) {
  Tag response("tr2:GetVideoEncoderConfigurationOptionsResponse");
  for (const CameraProfile& profile : each) {
    response.add(encodingOptions2(profile));
  }
  return response;
}

Tag videoSource(const CameraProfile& profile) {
  return Tag("trt:VideoSources", Attribute("token", profile.source()),
             Tag("tt:Framerate", FRAMES_PER_SECOND), resolutionTag("tt:Resolution", profile));
}

// What a client asks for a stream by, empty where it does not say.
struct AskedTransport {
  std::string stream;
  std::string protocol;
};

AskedTransport askedTransport(const Request& request) {
  AskedTransport asked{.stream = "", .protocol = optionalText(request, ns::MEDIA2, "Protocol")};
  const auto textOf = [](const XmlElement& parent, const char* name) {
    const auto element = parent.child(ns::SCHEMA, name);
    return element ? element->text() : std::string();
  };
  if (const auto setup = request.body.child(ns::MEDIA, "StreamSetup")) {
    asked.stream = textOf(*setup, "Stream");
    if (const auto transport = setup->child(ns::SCHEMA, "Transport")) {
      asked.protocol = textOf(*transport, "Protocol");
    }
  }
  return asked;
}

// One address for all of unicast: the way is chosen when the stream is set up, where a client that
// prefers UDP is told to take its own connection. What can never become of that address is refused.
void requireUnicast(const Request& request) {
  constexpr std::array<std::string_view, 5> PROTOCOLS = {"", "RTSP", "TCP", "UDP", "RtspUnicast"};
  const AskedTransport asked = askedTransport(request);
  if (std::ranges::count(PROTOCOLS, asked.protocol) == 0 || asked.stream == "RTP-Multicast") {
    throw invalidArgument("ter:InvalidStreamSetup",
                          "Neither multicast nor RTSP within HTTP is offered");
  }
}

}  // namespace

MediaOperations::MediaOperations(const std::vector<CameraProfile>& profiles, const HeadSetup& head,
                                 StreamUri streamUri, RulesOf rulesOf)
    : profiles(profiles),
      head(head),
      streamUri(std::move(streamUri)),
      rulesOf(std::move(rulesOf)) {}

void MediaOperations::addTo(Operations& operations) {
  addMedia1(operations);
  addMedia2(operations);
}

void MediaOperations::addMedia1(Operations& operations) {
  const auto add = [&](const char* name, Operations::Function function,
                       Access access = Access::user) {
    operations.add(ns::MEDIA, name, access, std::move(function));
  };
  add(
      "GetServiceCapabilities",
      [](const Request&) {
        return Tag("trt:GetServiceCapabilitiesResponse",
                   Tag("trt:Capabilities", Attribute("SnapshotUri", true),
                       Tag("trt:ProfileCapabilities", Attribute("MaximumNumberOfProfiles", 0)),
                       Tag("trt:StreamingCapabilities", Attribute("RTP_RTSP_TCP", true))));
      },
      Access::anybody);
  add("GetProfiles", [this](const Request&) {
    Tag response("trt:GetProfilesResponse");
    for (const CameraProfile& profile : profiles) {
      response.add(profile1("trt:Profiles", profile));
    }
    return response;
  });
  add("GetProfile", [this](const Request& request) {
    return Tag("trt:GetProfileResponse",
               profile1("trt:Profile", profileOf(profiles, request, ns::MEDIA)));
  });
  add("GetVideoSources", [this](const Request&) {
    return each("trt:GetVideoSourcesResponse", &CameraProfile::source, videoSource);
  });
  add("GetVideoSourceConfigurations", [this](const Request&) {
    return each("trt:GetVideoSourceConfigurationsResponse", &CameraProfile::sourceConfiguration,
                [](const CameraProfile& profile) {
                  return sourceConfigurationTag("trt:Configurations", profile);
                });
  });
  add("GetVideoSourceConfiguration", [this](const Request& request) {
    return Tag("trt:GetVideoSourceConfigurationResponse",
               sourceConfigurationTag(
                   "trt:Configuration",
                   withConfiguration(request, ns::MEDIA, &CameraProfile::sourceConfiguration)));
  });
  add("GetVideoEncoderConfigurations", [this](const Request&) {
    return each(
        "trt:GetVideoEncoderConfigurationsResponse", &CameraProfile::encoder,
        [](const CameraProfile& profile) { return encoder1("trt:Configurations", profile); });
  });
  add("GetVideoEncoderConfiguration", [this](const Request& request) {
    return Tag("trt:GetVideoEncoderConfigurationResponse",
               encoder1("trt:Configuration",
                        withConfiguration(request, ns::MEDIA, &CameraProfile::encoder)));
  });
  add("GetVideoEncoderConfigurationOptions",
      [this](const Request& request) { return encoderOptions1(encodersOf(request, ns::MEDIA)); });
  add("GetMetadataConfigurations", [this](const Request&) {
    return each(
        "trt:GetMetadataConfigurationsResponse", &CameraProfile::metadata,
        [](const CameraProfile& profile) { return metadataTag("trt:Configurations", profile); });
  });
  add("GetMetadataConfiguration", [this](const Request& request) {
    return Tag("trt:GetMetadataConfigurationResponse",
               metadataTag("trt:Configuration",
                           withConfiguration(request, ns::MEDIA, &CameraProfile::metadata)));
  });
  add("GetMetadataConfigurationOptions", [this](const Request& request) {
    return Tag("trt:GetMetadataConfigurationOptionsResponse",
               metadataOptions("trt:Options", withMetadata(request, ns::MEDIA)));
  });
  add("SetSynchronizationPoint", [this](const Request& request) {
    synchronize(profileOf(profiles, request, ns::MEDIA));
    return Tag("trt:SetSynchronizationPointResponse");
  });
  add("GetVideoAnalyticsConfigurations", [this](const Request&) {
    return each("trt:GetVideoAnalyticsConfigurationsResponse", &CameraProfile::analytics,
                [this](const CameraProfile& profile) {
                  return analyticsTag("trt:Configurations", profile);
                });
  });
  add("GetVideoAnalyticsConfiguration", [this](const Request& request) {
    return Tag("trt:GetVideoAnalyticsConfigurationResponse",
               analyticsTag("trt:Configuration",
                            withConfiguration(request, ns::MEDIA, &CameraProfile::analytics)));
  });
  add("GetStreamUri", [this](const Request& request) {
    const CameraProfile& profile = profileOf(profiles, request, ns::MEDIA);
    return Tag("trt:GetStreamUriResponse",
               Tag("trt:MediaUri", Tag("tt:Uri", streamOf(profile, request)),
                   Tag("tt:InvalidAfterConnect", false), Tag("tt:InvalidAfterReboot", false),
                   Tag("tt:Timeout", "PT0S")));
  });
  add("GetSnapshotUri", [this](const Request& request) {
    const CameraProfile& profile = profileOf(profiles, request, ns::MEDIA);
    return Tag("trt:GetSnapshotUriResponse",
               Tag("trt:MediaUri", Tag("tt:Uri", snapshotOf(profile, request)),
                   Tag("tt:InvalidAfterConnect", false), Tag("tt:InvalidAfterReboot", false),
                   Tag("tt:Timeout", "PT0S")));
  });
}

void MediaOperations::addMedia2(Operations& operations) {
  const auto add = [&](const char* name, Operations::Function function,
                       Access access = Access::user) {
    operations.add(ns::MEDIA2, name, access, std::move(function));
  };
  add(
      "GetServiceCapabilities",
      [](const Request&) {
        return Tag("tr2:GetServiceCapabilitiesResponse",
                   Tag("tr2:Capabilities", Attribute("SnapshotUri", true),
                       Tag("tr2:ProfileCapabilities", Attribute("MaximumNumberOfProfiles", 0),
                           Attribute("ConfigurationsSupported",
                                     "VideoSource VideoEncoder Analytics PTZ Metadata")),
                       Tag("tr2:StreamingCapabilities", Attribute("RTSPStreaming", true),
                           Attribute("RTP_RTSP_TCP", true))));
      },
      Access::anybody);
  add("GetProfiles", [this](const Request& request) { return profiles2(request); });
  add("GetVideoSourceConfigurations", [this](const Request& request) {
    return wanted("tr2:GetVideoSourceConfigurationsResponse", request,
                  &CameraProfile::sourceConfiguration, [](const CameraProfile& profile) {
                    return sourceConfigurationTag("tr2:Configurations", profile);
                  });
  });
  add("GetVideoEncoderConfigurations", [this](const Request& request) {
    return wanted(
        "tr2:GetVideoEncoderConfigurationsResponse", request, &CameraProfile::encoder,
        [](const CameraProfile& profile) { return encoder2("tr2:Configurations", profile); });
  });
  add("GetVideoEncoderConfigurationOptions",
      [this](const Request& request) { return encoderOptions2(encodersOf(request, ns::MEDIA2)); });
  add("GetMetadataConfigurations", [this](const Request& request) {
    return wanted(
        "tr2:GetMetadataConfigurationsResponse", request, &CameraProfile::metadata,
        [](const CameraProfile& profile) { return metadataTag("tr2:Configurations", profile); });
  });
  add("GetMetadataConfigurationOptions", [this](const Request& request) {
    return Tag("tr2:GetMetadataConfigurationOptionsResponse",
               metadataOptions("tr2:Options", withMetadata(request, ns::MEDIA2)));
  });
  add("SetSynchronizationPoint", [this](const Request& request) {
    synchronize(profileOf(profiles, request, ns::MEDIA2));
    return Tag("tr2:SetSynchronizationPointResponse");
  });
  add("GetAnalyticsConfigurations", [this](const Request& request) {
    return wanted("tr2:GetAnalyticsConfigurationsResponse", request, &CameraProfile::analytics,
                  [this](const CameraProfile& profile) {
                    return analyticsTag("tr2:Configurations", profile);
                  });
  });
  add("GetStreamUri", [this](const Request& request) {
    const CameraProfile& profile = profileOf(profiles, request, ns::MEDIA2);
    return Tag("tr2:GetStreamUriResponse", Tag("tr2:Uri", streamOf(profile, request)));
  });
  add("GetSnapshotUri", [this](const Request& request) {
    const CameraProfile& profile = profileOf(profiles, request, ns::MEDIA2);
    return Tag("tr2:GetSnapshotUriResponse", Tag("tr2:Uri", snapshotOf(profile, request)));
  });
}

Tag MediaOperations::analyticsTag(const std::string& name, const CameraProfile& profile) const {
  return analyticsConfigurationTag(name, profile, rulesOf(profile.analytics()));
}

Tag MediaOperations::profile1(const std::string& name, const CameraProfile& profile) const {
  Tag tag(name, Attribute("token", profile.token), Attribute("fixed", true),
          Tag("tt:Name", profile.name),
          sourceConfigurationTag("tt:VideoSourceConfiguration", profile),
          encoder1("tt:VideoEncoderConfiguration", profile));
  if (profile.isHead()) {
    tag.add(ptzConfigurationTag("tt:PTZConfiguration", head));
  } else {
    tag.add(analyticsTag("tt:VideoAnalyticsConfiguration", profile));
  }
  tag.add(metadataTag("tt:MetadataConfiguration", profile));
  return tag;
}

Tag MediaOperations::profile2(const CameraProfile& profile,
                              const std::vector<std::string>& types) const {
  const auto isAsked = [&](const char* type) {
    return std::ranges::count(types, "All") > 0 || std::ranges::count(types, type) > 0;
  };
  Tag configurations("tr2:Configurations");
  if (isAsked("VideoSource")) {
    configurations.add(sourceConfigurationTag("tr2:VideoSource", profile));
  }
  if (isAsked("VideoEncoder")) {
    configurations.add(encoder2("tr2:VideoEncoder", profile));
  }
  if (!profile.isHead() && isAsked("Analytics")) {
    configurations.add(analyticsTag("tr2:Analytics", profile));
  }
  if (profile.isHead() && isAsked("PTZ")) {
    configurations.add(ptzConfigurationTag("tr2:PTZ", head));
  }
  if (isAsked("Metadata")) {
    configurations.add(metadataTag("tr2:Metadata", profile));
  }
  Tag tag("tr2:Profiles", Attribute("token", profile.token), Attribute("fixed", true),
          Tag("tr2:Name", profile.name));
  if (!types.empty()) {
    tag.add(std::move(configurations));
  }
  return tag;
}

Tag MediaOperations::profiles2(const Request& request) const {
  std::vector<std::string> types;
  for (const XmlElement& child : request.body.children()) {
    if (child.is(ns::MEDIA2, "Type")) {
      types.push_back(child.text());
    }
  }
  const std::string token = optionalText(request, ns::MEDIA2, "Token");
  Tag response("tr2:GetProfilesResponse");
  bool found = token.empty();
  for (const CameraProfile& profile : profiles) {
    if (token.empty() || profile.token == token) {
      response.add(profile2(profile, types));
      found = true;
    }
  }
  if (!found) {
    throw invalidArgument("ter:NoProfile", "There is no profile " + token);
  }
  return response;
}

std::string MediaOperations::streamOf(const CameraProfile& profile, const Request& request) const {
  requireUnicast(request);
  const std::string uri = streamUri(profile, request.host);
  if (uri.empty()) {
    throw Fault(FaultCode::receiver, {"ter:ActionNotSupported"}, "No video is offered");
  }
  return uri;
}

std::string MediaOperations::snapshotOf(const CameraProfile& profile, const Request& request) {
  return "http://" + request.host + SNAPSHOT_ROOT + profile.picture();
}

// What several profiles have in common is told once.
Tag MediaOperations::each(const std::string& response, TokenOf token, const TagOf& tag) const {
  Tag all(response);
  std::set<std::string> told;
  for (const CameraProfile& profile : profiles) {
    const std::string name = (profile.*token)();
    if (!name.empty() && told.insert(name).second) {
      all.add(tag(profile));
    }
  }
  return all;
}

// That of a token, of a profile, or all.
Tag MediaOperations::wanted(const std::string& response, const Request& request, TokenOf token,
                            const TagOf& tag) const {
  if (!optionalText(request, ns::MEDIA2, "ConfigurationToken").empty()) {
    return Tag(response, tag(withConfiguration(request, ns::MEDIA2, token)));
  }
  if (!optionalText(request, ns::MEDIA2, "ProfileToken").empty()) {
    const CameraProfile& profile = profileOf(profiles, request, ns::MEDIA2);
    return (profile.*token)().empty() ? Tag(response) : Tag(response, tag(profile));
  }
  return each(response, token, tag);
}

// That of a token, that of a profile, or those of the head in every encoding.
std::vector<CameraProfile> MediaOperations::encodersOf(const Request& request,
                                                       const std::string& nameSpace) const {
  if (!optionalText(request, nameSpace, "ConfigurationToken").empty()) {
    return {withConfiguration(request, nameSpace, &CameraProfile::encoder)};
  }
  if (!optionalText(request, nameSpace, "ProfileToken").empty()) {
    return {profileOf(profiles, request, nameSpace)};
  }
  std::vector<CameraProfile> all;
  std::ranges::copy_if(profiles, std::back_inserter(all), &CameraProfile::isHead);
  return all;
}

// That of a token, that of a profile, or the head's, which has most.
const CameraProfile& MediaOperations::withMetadata(const Request& request,
                                                   const std::string& nameSpace) const {
  if (!optionalText(request, nameSpace, "ConfigurationToken").empty()) {
    return withConfiguration(request, nameSpace, &CameraProfile::metadata);
  }
  if (!optionalText(request, nameSpace, "ProfileToken").empty()) {
    return profileOf(profiles, request, nameSpace);
  }
  return *std::ranges::find_if(profiles, &CameraProfile::isHead);
}

void MediaOperations::synchronize(const CameraProfile& profile) const {
  if (synchronizer) {
    synchronizer(profile);
  }
}

const CameraProfile& MediaOperations::withConfiguration(const Request& request,
                                                        const std::string& nameSpace,
                                                        TokenOf token) const {
  const std::string wanted = requiredText(request, nameSpace, "ConfigurationToken");
  const auto found = std::ranges::find_if(
      profiles, [&](const CameraProfile& profile) { return (profile.*token)() == wanted; });
  if (found == profiles.end()) {
    throw invalidArgument("ter:NoConfig", "There is no configuration " + wanted);
  }
  return *found;
}

}  // namespace device::onvif
