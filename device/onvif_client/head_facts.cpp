#include "onvif_client/head_facts.h"

#include <algorithm>
#include <cmath>

#include "base/units.h"
#include "onvif/namespaces.h"
#include "onvif/time_text.h"
#include "onvif_client/xml_number.h"

namespace device::onvif {
namespace {

constexpr std::size_t MOST_SPACES = 32;
constexpr double LARGEST = 1e6;  // of a position or a range; beyond is nonsense

std::optional<double> sensible(const std::optional<double>& number) {
  return number && std::abs(*number) <= LARGEST ? number : std::nullopt;
}

Range readRange(const XmlElement& space, const char* name) {
  const auto element = space.child(ns::SCHEMA, name);
  const auto low = element ? sensible(numberOf(textOf(*element, "Min"))) : std::nullopt;
  const auto high = element ? sensible(numberOf(textOf(*element, "Max"))) : std::nullopt;
  return low && high ? Range{*low, *high} : Range{};
}

void readSpaces(const XmlElement& list, HeadFacts* facts) {
  const auto groupOf = [&](std::string_view name) -> std::vector<ListedSpace>* {
    if (name == "AbsolutePanTiltPositionSpace") {
      return &facts->positions;
    }
    if (name == "AbsoluteZoomPositionSpace") {
      return &facts->zoomPositions;
    }
    if (name == "ContinuousPanTiltVelocitySpace") {
      return &facts->velocities;
    }
    if (name == "ContinuousZoomVelocitySpace") {
      return &facts->zoomVelocities;
    }
    return name == "PanTiltSpeedSpace" ? &facts->speeds : nullptr;
  };
  for (const XmlElement& child : list.children()) {
    const XmlName whole = child.name();
    auto* group = groupOf(whole.name);
    const ListedSpace space{textOf(child, "URI"), readRange(child, "XRange"),
                            readRange(child, "YRange")};
    if (group != nullptr && space.x.isReal() && group->size() < MOST_SPACES &&
        findSpace(*group, space.uri) == nullptr) {
      group->push_back(space);
    }
  }
}

std::optional<double> secondsOf(const std::string& text) {
  const auto duration = readDuration(text);
  return duration ? std::optional(units::toSeconds(*duration)) : std::nullopt;
}

std::optional<bool> movesOf(const XmlElement& move, const char* axis) {
  const std::string text = textOf(move, axis);
  if (text == "MOVING") {
    return true;
  }
  return text == "IDLE" ? std::optional(false) : std::nullopt;
}

}  // namespace

const ListedSpace* findSpace(const std::vector<ListedSpace>& spaces, const std::string& uri) {
  const auto found = std::ranges::find(spaces, uri, &ListedSpace::uri);
  return found != spaces.end() ? &*found : nullptr;
}

void readHeadFacts(const XmlElement& element, HeadFacts* facts) {
  for (const XmlElement& child : element.children()) {
    const XmlName whole = child.name();
    const std::string_view name = whole.name;
    if (name == "SupportedPTZSpaces" || name == "Spaces") {
      readSpaces(child, facts);
    } else if (name == "HomeSupported") {
      facts->hasHome = child.text() == "true" || child.text() == "1";
    } else if (name == "PTZTimeout") {
      const auto low = secondsOf(textOf(child, "Min"));
      const auto high = secondsOf(textOf(child, "Max"));
      if (low && high) {
        facts->timeout = Range{*low, *high};
      }
    } else if (name == "DefaultAbsolutePantTiltPositionSpace") {
      facts->defaultPosition = child.text();
    } else if (name == "DefaultAbsoluteZoomPositionSpace") {
      facts->defaultZoomPosition = child.text();
    }
  }
}

void readNodeFacts(const XmlElement& nodes, const std::string& token, HeadFacts* facts) {
  const std::vector<XmlElement> all = nodes.children();
  const auto named = std::ranges::find_if(
      all, [&](const XmlElement& node) { return node.attribute("token") == token; });
  if (!all.empty()) {
    readHeadFacts(named != all.end() ? *named : all.front(), facts);
  }
}

HeadReading readHeadPosition(const XmlElement& position) {
  HeadReading reading;
  if (const auto panTilt = position.child(ns::SCHEMA, "PanTilt")) {
    const auto x = sensible(numberOf(*panTilt, "x"));
    const auto y = sensible(numberOf(*panTilt, "y"));
    if (x && y) {
      reading.panTilt = Vector2{*x, *y, panTilt->attribute("space").value_or("")};
    }
  }
  if (const auto zoom = position.child(ns::SCHEMA, "Zoom")) {
    if (const auto x = sensible(numberOf(*zoom, "x"))) {
      reading.zoom = Vector1{*x, zoom->attribute("space").value_or("")};
    }
  }
  return reading;
}

HeadReading readHeadReading(const XmlElement& status) {
  const auto position = status.child(ns::SCHEMA, "Position");
  HeadReading reading = position ? readHeadPosition(*position) : HeadReading();
  if (const auto move = status.child(ns::SCHEMA, "MoveStatus")) {
    reading.panTiltMoves = movesOf(*move, "PanTilt");
    reading.zoomMoves = movesOf(*move, "Zoom");
  }
  if (const auto field = status.child(ns::SCHEMA, "FieldOfView")) {
    const auto angle = numberOf(*field, "hfov");
    reading.fieldAngle = angle && *angle > 0 && *angle < 180 ? angle : std::nullopt;
  }
  if (const auto time = status.child(ns::SCHEMA, "UtcTime")) {
    reading.time = readDateTime(time->text());
  }
  return reading;
}

}  // namespace device::onvif
