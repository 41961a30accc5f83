#ifndef DEVICE_ONVIF_PTZ_SPACE_H
#define DEVICE_ONVIF_PTZ_SPACE_H

#include <optional>
#include <string>

#include "onvif/tag.h"
#include "onvif/xml.h"

namespace device::onvif {

// The coordinates in which a head is spoken of. Generic ones have no unit.
namespace space {

// Pan and tilt, -1 to 1: the whole range; beside it what has a unit.
constexpr char POSITION[] = "http://www.onvif.org/ver10/tptz/PanTiltSpaces/PositionGenericSpace";
constexpr char POSITION_DEGREES[] =
    "http://www.onvif.org/ver10/tptz/PanTiltSpaces/SphericalPositionSpaceDegrees";
constexpr char TRANSLATION[] =
    "http://www.onvif.org/ver10/tptz/PanTiltSpaces/TranslationGenericSpace";
constexpr char TRANSLATION_DEGREES[] =
    "http://www.onvif.org/ver10/tptz/PanTiltSpaces/SphericalTranslationSpaceDegrees";
// Halves of the picture: 1 is the way from its centre to its edge.
constexpr char TRANSLATION_PICTURE[] =
    "http://www.onvif.org/ver10/tptz/PanTiltSpaces/TranslationSpaceFov";
constexpr char VELOCITY[] = "http://www.onvif.org/ver10/tptz/PanTiltSpaces/VelocityGenericSpace";
constexpr char SPEED[] = "http://www.onvif.org/ver10/tptz/PanTiltSpaces/GenericSpeedSpace";
constexpr char SPEED_DEGREES[] = "http://www.onvif.org/ver10/tptz/PanTiltSpaces/SpeedSpaceDegrees";

// Zoom: 0 wide to 1 tele.
constexpr char ZOOM_POSITION[] = "http://www.onvif.org/ver10/tptz/ZoomSpaces/PositionGenericSpace";
// Focal length.
constexpr char ZOOM_MILLIMETRES[] =
    "http://www.onvif.org/ver10/tptz/ZoomSpaces/PositionSpaceMillimeter";
constexpr char ZOOM_TRANSLATION[] =
    "http://www.onvif.org/ver10/tptz/ZoomSpaces/TranslationGenericSpace";
constexpr char ZOOM_VELOCITY[] = "http://www.onvif.org/ver10/tptz/ZoomSpaces/VelocityGenericSpace";
constexpr char ZOOM_SPEED[] = "http://www.onvif.org/ver10/tptz/ZoomSpaces/ZoomGenericSpeedSpace";

}  // namespace space

// A pair of numbers for pan and tilt, or a single one for zoom, in a space.
struct Vector2 {
  double x = 0;
  double y = 0;
  std::string space;  // empty: the default one
};

struct Vector1 {
  double x = 0;
  std::string space;
};

// A position, a way, a velocity or a speed; what is left out is not spoken of.
struct PtzVector {
  std::optional<Vector2> panTilt;
  std::optional<Vector1> zoom;
};

// Reads tt:PanTilt and tt:Zoom. Throws Fault for what is no finite number.
PtzVector readPtzVector(const XmlElement& element);

Tag panTiltTag(const Vector2& value);
Tag zoomTag(const Vector1& value);

}  // namespace device::onvif

#endif
