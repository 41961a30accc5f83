#ifndef DEVICE_ONVIF_NAMESPACES_H
#define DEVICE_ONVIF_NAMESPACES_H

#include <string_view>

namespace device::onvif {

// The names of the vocabularies. What is read is told apart by these alone: prefixes are each
// sender's own.
namespace ns {

constexpr char SOAP[] = "http://www.w3.org/2003/05/soap-envelope";
constexpr char SOAP_1_1[] = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr char SCHEMA[] = "http://www.onvif.org/ver10/schema";
constexpr char DEVICE[] = "http://www.onvif.org/ver10/device/wsdl";
constexpr char MEDIA[] = "http://www.onvif.org/ver10/media/wsdl";
constexpr char MEDIA2[] = "http://www.onvif.org/ver20/media/wsdl";
constexpr char PTZ[] = "http://www.onvif.org/ver20/ptz/wsdl";
constexpr char EVENTS[] = "http://www.onvif.org/ver10/events/wsdl";
constexpr char ANALYTICS[] = "http://www.onvif.org/ver20/analytics/wsdl";
constexpr char NETWORK[] = "http://www.onvif.org/ver10/network/wsdl";
constexpr char TOPICS[] = "http://www.onvif.org/ver10/topics";
constexpr char ERROR[] = "http://www.onvif.org/ver10/error";
constexpr char NOTIFICATION[] = "http://docs.oasis-open.org/wsn/b-2";
constexpr char TOPIC_SET[] = "http://docs.oasis-open.org/wsn/t-1";
constexpr char ADDRESSING[] = "http://www.w3.org/2005/08/addressing";
constexpr char SECURITY[] =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd";
constexpr char SECURITY_UTILITY[] =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd";
constexpr char DISCOVERY[] = "http://schemas.xmlsoap.org/ws/2005/04/discovery";
constexpr char DISCOVERY_ADDRESSING[] = "http://schemas.xmlsoap.org/ws/2004/08/addressing";
constexpr char OWN_TOPICS[] = "urn:sentrelvideo:topics";

}  // namespace ns

// The name that a prefix stands for in what is written here; empty for one that is never written.
std::string_view nameSpaceOfPrefix(std::string_view prefix);

// The other way round; empty for a name that is never written.
std::string_view prefixOfNameSpace(std::string_view name);

}  // namespace device::onvif

#endif
