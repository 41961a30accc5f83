#include "onvif/ptz_space.h"

#include <cmath>

#include "base/text.h"
#include "onvif/fault.h"
#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

double readNumber(const XmlElement& element, const std::string& name) {
  const std::string value = element.attribute(name).value_or("");
  // A plus is a part of XML's numbers.
  const std::size_t plus = value.starts_with('+') ? 1 : 0;
  const auto number = text::toNumber<double>(std::string_view(value).substr(plus));
  if (!number || !std::isfinite(*number)) {
    throw invalidArguments("The attribute " + name + " is not a number");
  }
  return *number;
}

std::optional<Attribute> spaceAttribute(const std::string& space) {
  return space.empty() ? std::nullopt : std::optional(Attribute("space", space));
}

}  // namespace

PtzVector readPtzVector(const XmlElement& element) {
  PtzVector vector;
  if (const auto panTilt = element.child(ns::SCHEMA, "PanTilt")) {
    vector.panTilt = Vector2{readNumber(*panTilt, "x"), readNumber(*panTilt, "y"),
                             panTilt->attribute("space").value_or("")};
  }
  if (const auto zoom = element.child(ns::SCHEMA, "Zoom")) {
    vector.zoom = Vector1{readNumber(*zoom, "x"), zoom->attribute("space").value_or("")};
  }
  return vector;
}

Tag panTiltTag(const Vector2& value) {
  return Tag("tt:PanTilt", Attribute("x", value.x), Attribute("y", value.y),
             spaceAttribute(value.space));
}

Tag zoomTag(const Vector1& value) {
  return Tag("tt:Zoom", Attribute("x", value.x), spaceAttribute(value.space));
}

}  // namespace device::onvif
