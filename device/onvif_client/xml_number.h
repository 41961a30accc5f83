// Numbers in what cameras send.
#ifndef DEVICE_ONVIF_CLIENT_XML_NUMBER_H
#define DEVICE_ONVIF_CLIENT_XML_NUMBER_H

#include <cmath>
#include <optional>
#include <string>

#include "base/text.h"
#include "onvif/namespaces.h"
#include "onvif/xml.h"

namespace device::onvif {

// Nothing for what is no finite number. A plus is a part of XML's numbers.
inline std::optional<double> numberOf(const std::string& text) {
  const std::string_view trimmed = text::trimmed(text, " \t\r\n");
  const auto number = text::toNumber<double>(trimmed.substr(trimmed.starts_with('+') ? 1 : 0));
  return number && std::isfinite(*number) ? number : std::nullopt;
}

inline std::optional<double> numberOf(const XmlElement& element, const std::string& attribute) {
  const auto text = element.attribute(attribute);
  return text ? numberOf(*text) : std::nullopt;
}

// The text of a child of the schema's vocabulary; empty when there is none.
inline std::string textOf(const XmlElement& element, const char* child) {
  const auto found = element.child(ns::SCHEMA, child);
  return found ? found->text() : "";
}

}  // namespace device::onvif

#endif
