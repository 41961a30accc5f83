#ifndef DEVICE_ONVIF_CLIENT_HEAD_FACTS_H
#define DEVICE_ONVIF_CLIENT_HEAD_FACTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "onvif/ptz_space.h"
#include "onvif/xml.h"

namespace device::onvif {

struct Range {
  double low = 0;
  double high = 0;

  // Ranges of 0..0 and 1..1 stand for "not there".
  bool isReal() const { return high > low; }
  bool operator==(const Range&) const = default;
};

// One way in which a head can be spoken to.
struct ListedSpace {
  std::string uri;
  Range x;
  Range y;  // of zoom: nothing real
};

// What a head says that it can, from its node or the options of its configuration.
struct HeadFacts {
  std::vector<ListedSpace> positions;  // pan and tilt
  std::vector<ListedSpace> zoomPositions;
  std::vector<ListedSpace> velocities;
  std::vector<ListedSpace> zoomVelocities;
  std::vector<ListedSpace> speeds;
  bool hasHome = false;
  std::optional<Range> timeout;  // seconds, of continuous moves
  // Of the configuration; empty: the generic ones.
  std::string defaultPosition;
  std::string defaultZoomPosition;
};

const ListedSpace* findSpace(const std::vector<ListedSpace>& spaces, const std::string& uri);

// The spaces of a PTZNode or of options ("SupportedPTZSpaces", "Spaces"), the home position of a
// node, the time-outs of options, the defaults of a PTZConfiguration: adds what the element has.
// Numbers that are none are left out. Never throws.
void readHeadFacts(const XmlElement& element, HeadFacts* facts);

// The same of a GetNodesResponse: of the node with the token; of the first when there is none.
void readNodeFacts(const XmlElement& nodes, const std::string& token, HeadFacts* facts);

// Where a head is and what it does, as a PTZStatus has it; everything may be missing.
struct HeadReading {
  std::optional<Vector2> panTilt;
  std::optional<Vector1> zoom;
  std::optional<bool> panTiltMoves;  // nothing for UNKNOWN
  std::optional<bool> zoomMoves;
  std::optional<double> fieldAngle;  // degrees across the picture
  std::optional<std::int64_t> time;  // of the camera's clock, microseconds since 1970
};

// A tt:Position or PTZPosition alone.
HeadReading readHeadPosition(const XmlElement& position);

// Never throws.
HeadReading readHeadReading(const XmlElement& status);

}  // namespace device::onvif

#endif
