#include "addon/libs/vigil_pack_lib/profile/shape.h"

#include <syslog.h>

#include <cmath>
#include <cstddef>

#include "addon/libs/vigil_pack_lib/profile/entry_values.h"
#include "config/status_exception.h"

namespace {

using enum StatusCode_e;

constexpr double SCENE_ONE = 4096.0;  // Q12

std::vector<Point> createDataVector(const json_t* array, std::int32_t minimum, std::int32_t maximum,
                                    const char* what) {
  const std::size_t count = json_array_size(array);
  const bool tooFew = count < static_cast<std::size_t>(minimum);
  const bool tooMany = count > static_cast<std::size_t>(maximum);
  if (tooFew || tooMany) {
    syslog(LOG_ERR, "%s has %zu vertices\n", what, count);
  }
  throwIf(tooFew, "Too few verticies in a trigger", invalidParameter);
  throwIf(tooMany, "Too many verticies in a trigger", invalidParameter);
  std::vector<Point> points;
  points.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const json_t* vertex = json_array_get(array, i);
    throwIf(vertex == nullptr, "Could not get data for a trigger", missingParameter);
    double x = 0.0;
    double y = 0.0;
    throwIf(!unpack(vertex, "[FF!]", &x, &y), "Could not unpack a point for a trigger",
            missingParameter);
    throwIf(!isInPicture(x) || !isInPicture(y), "Trigger values out of bounds", invalidParameter);
    points.push_back({toSceneValue(x), toSceneValue(y)});
  }
  return points;
}

}  // namespace

bool isInPicture(double coordinate) {
  return coordinate >= -1.0 && coordinate <= 1.0;
}

std::int16_t toSceneValue(double coordinate) {
  return static_cast<std::int16_t>(std::lround(coordinate * SCENE_ONE));
}

Polygon createPolygon(const json_t* vertices, const DataBoundaries& boundaries) {
  return Polygon(createDataVector(vertices, boundaries.verticesMin, boundaries.verticesMax,
                                  "An include area"));
}

std::vector<Point> createPolyline(const json_t* vertices, const DataBoundaries& boundaries) {
  return createDataVector(vertices, boundaries.verticesMin, boundaries.verticesMax, "A fence");
}

JsonAutoPtr packShape(const char* type, const ShapeCount& count, const DataBoundaries& boundaries,
                      JsonAutoPtr defaultPoints) {
  return JsonAutoPtr(
      json_pack("{s:s, s:[f,f], s:[f,f], s:i, s:i, s:i, s:i, s:i, s:o}", "type", type, "min", -1.0,
                -1.0, "max", 1.0, 1.0, "minNbrVertices", boundaries.verticesMin, "maxNbrVertices",
                boundaries.verticesMax, "minNbrInstances", count.min, "maxNbrInstances", count.max,
                "defaultInstance", count.defaultInstance, "default", defaultPoints.release()));
}

JsonAutoPtr packRectangle(const DefaultRectangle& r) {
  return JsonAutoPtr(json_pack("[[f,f],[f,f],[f,f],[f,f]]", r.xMin, r.yMin, r.xMin, r.yMax, r.xMax,
                               r.yMax, r.xMax, r.yMin));
}
