#include "onvif_server/device_operations.h"

#include <array>

#include "base/glib_ptr.h"
#include "base/units.h"
#include "onvif/fault.h"
#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

struct Service {
  const char* nameSpace;
  const char* path;
  int major;
  int minor;
};

constexpr std::array<Service, 6> SERVICES = {{{ns::DEVICE, "/onvif/device_service", 2, 60},
                                              {ns::MEDIA, "/onvif/media_service", 2, 60},
                                              {ns::MEDIA2, "/onvif/media2_service", 2, 60},
                                              {ns::PTZ, "/onvif/ptz_service", 2, 60},
                                              {ns::EVENTS, "/onvif/event_service", 2, 60},
                                              {ns::ANALYTICS, "/onvif/analytics_service", 2, 60}}};

// As the client itself reached the device: no other name is sure to.
std::string addressOf(const Request& request, const char* path) {
  return "http://" + request.host + path;
}

std::string escaped(const std::string& text) {
  const GTextPtr result(g_uri_escape_string(text.c_str(), nullptr, FALSE));
  return result.get();
}

std::string hostName() {
  return g_get_host_name();
}

Tag services(const Request& request) {
  Tag response("tds:GetServicesResponse");
  for (const Service& service : SERVICES) {
    response.add(
        Tag("tds:Service", Tag("tds:Namespace", service.nameSpace),
            Tag("tds:XAddr", addressOf(request, service.path)),
            Tag("tds:Version", Tag("tt:Major", service.major), Tag("tt:Minor", service.minor))));
  }
  return response;
}

Tag capabilities(const Request& request) {
  const auto xaddr = [&](const char* nameSpace) {
    for (const Service& service : SERVICES) {
      if (std::string_view(service.nameSpace) == nameSpace) {
        return Tag("tt:XAddr", addressOf(request, service.path));
      }
    }
    return Tag("tt:XAddr");
  };
  const std::string wanted = optionalText(request, ns::DEVICE, "Category");
  const bool isAll = wanted.empty() || wanted == "All";
  Tag list("tds:Capabilities");
  if (isAll || wanted == "Analytics") {
    list.add(Tag("tt:Analytics", xaddr(ns::ANALYTICS), Tag("tt:RuleSupport", true),
                 Tag("tt:AnalyticsModuleSupport", true)));
  }
  if (isAll || wanted == "Device") {
    list.add(Tag("tt:Device", xaddr(ns::DEVICE)));
  }
  if (isAll || wanted == "Events") {
    list.add(Tag("tt:Events", xaddr(ns::EVENTS), Tag("tt:WSSubscriptionPolicySupport", false),
                 Tag("tt:WSPullPointSupport", true),
                 Tag("tt:WSPausableSubscriptionManagerInterfaceSupport", false)));
  }
  if (isAll || wanted == "Media") {
    list.add(Tag("tt:Media", xaddr(ns::MEDIA),
                 Tag("tt:StreamingCapabilities", Tag("tt:RTPMulticast", false),
                     Tag("tt:RTP_TCP", false), Tag("tt:RTP_RTSP_TCP", true))));
  }
  if (isAll || wanted == "PTZ") {
    list.add(Tag("tt:PTZ", xaddr(ns::PTZ)));
  }
  if (wanted == "Imaging") {
    throw Fault(FaultCode::receiver, {"ter:ActionNotSupported", "ter:NoSuchService"},
                "There is no such service");
  }
  return Tag("tds:GetCapabilitiesResponse", std::move(list));
}

Tag serviceCapabilities(const Request&) {
  return Tag(
      "tds:GetServiceCapabilitiesResponse",
      Tag("tds:Capabilities", Tag("tds:Network", Attribute("NTP", 0)),
          Tag("tds:Security", Attribute("HttpDigest", true), Attribute("UsernameToken", true)),
          Tag("tds:System", Attribute("DiscoveryResolve", true), Attribute("DiscoveryBye", true))));
}

Tag hostNameTag(const Request&) {
  return Tag("tds:GetHostnameResponse",
             Tag("tds:HostnameInformation", Tag("tt:FromDHCP", false), Tag("tt:Name", hostName())));
}

Tag networkInterfaces(const Request&) {
  return Tag("tds:GetNetworkInterfacesResponse",
             Tag("tds:NetworkInterfaces", Attribute("token", "network"), Tag("tt:Enabled", true)));
}

Tag ntp(const Request&) {
  return Tag("tds:GetNTPResponse", Tag("tds:NTPInformation", Tag("tt:FromDHCP", true)));
}

Tag discoveryMode(const Request&) {
  return Tag("tds:GetDiscoveryModeResponse", Tag("tds:DiscoveryMode", "Discoverable"));
}

Tag wsdlUrl(const Request&) {
  return Tag("tds:GetWsdlUrlResponse", Tag("tds:WsdlUrl", "http://www.onvif.org/"));
}

}  // namespace

std::vector<std::string> scopesOf(const DeviceIdentity& identity) {
  const std::string base = "onvif://www.onvif.org/";
  return {base + "type/video_encoder", base + "type/ptz",
          base + "hardware/" + escaped(identity.model), base + "name/" + escaped(identity.model),
          base + "location/" + escaped(hostName())};
}

void DeviceOperations::addTo(Operations& operations) {
  const auto add = [&](const char* name, Access access, Operations::Function function) {
    operations.add(ns::DEVICE, name, access, std::move(function));
  };
  add("GetSystemDateAndTime", Access::anybody,
      [this](const Request&) { return systemDateAndTime(); });
  add("GetServices", Access::anybody, services);
  add("GetCapabilities", Access::anybody, capabilities);
  add("GetServiceCapabilities", Access::anybody, serviceCapabilities);
  add("GetHostname", Access::anybody, hostNameTag);
  add("GetWsdlUrl", Access::anybody, wsdlUrl);
  add("GetEndpointReference", Access::anybody, [this](const Request&) {
    return Tag("tds:GetEndpointReferenceResponse", Tag("tds:GUID", identity.address));
  });
  add("GetDeviceInformation", Access::user, [this](const Request&) { return information(); });
  add("GetScopes", Access::user, [this](const Request&) { return scopes(); });
  add("GetNetworkInterfaces", Access::user, networkInterfaces);
  add("GetNTP", Access::user, ntp);
  add("GetDiscoveryMode", Access::user, discoveryMode);
}

Tag DeviceOperations::systemDateAndTime() const {
  const GDateTimePtr now(g_date_time_new_from_unix_utc(clock() / units::MICROSECONDS_PER_SECOND));
  return Tag("tds:GetSystemDateAndTimeResponse",
             Tag("tds:SystemDateAndTime", Tag("tt:DateTimeType", "NTP"),
                 Tag("tt:DaylightSavings", false), Tag("tt:TimeZone", Tag("tt:TZ", "UTC0")),
                 Tag("tt:UTCDateTime",
                     Tag("tt:Time", Tag("tt:Hour", g_date_time_get_hour(now.get())),
                         Tag("tt:Minute", g_date_time_get_minute(now.get())),
                         Tag("tt:Second", g_date_time_get_second(now.get()))),
                     Tag("tt:Date", Tag("tt:Year", g_date_time_get_year(now.get())),
                         Tag("tt:Month", g_date_time_get_month(now.get())),
                         Tag("tt:Day", g_date_time_get_day_of_month(now.get()))))));
}

Tag DeviceOperations::information() const {
  return Tag("tds:GetDeviceInformationResponse", Tag("tds:Manufacturer", "SentrelVideo"),
             Tag("tds:Model", identity.model), Tag("tds:FirmwareVersion", identity.version),
             Tag("tds:SerialNumber", identity.serial), Tag("tds:HardwareId", "virtual-device"));
}

Tag DeviceOperations::scopes() const {
  Tag response("tds:GetScopesResponse");
  for (const std::string& scope : scopesOf(identity)) {
    response.add(Tag("tds:Scopes", Tag("tt:ScopeDef", "Fixed"), Tag("tt:ScopeItem", scope)));
  }
  return response;
}

}  // namespace device::onvif
