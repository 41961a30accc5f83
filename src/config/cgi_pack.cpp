#include "config/cgi_pack.h"

namespace {

// What the three kinds of area and the fence have in common.
struct ShapeLimits {
  const char* type;
  std::int32_t minInstances;
  std::int32_t maxInstances;
  std::int32_t defaultInstance;
};

JsonAutoPtr packShape(const ShapeLimits& shape, const DataBoundaries& boundaries,
                      JsonAutoPtr defaultPoints) {
  return JsonAutoPtr(json_pack("{s:s, s:[f,f], s:[f,f], s:i, s:i, s:i, s:i, s:i, s:o}", "type",
                               shape.type, "min", -1.0, -1.0, "max", 1.0, 1.0, "minNbrVertices",
                               boundaries.verticesMin, "maxNbrVertices", boundaries.verticesMax,
                               "minNbrInstances", shape.minInstances, "maxNbrInstances",
                               shape.maxInstances, "defaultInstance", shape.defaultInstance,
                               "default", defaultPoints.release()));
}

JsonAutoPtr packRectangle(const DefaultRectangle& r) {
  return JsonAutoPtr(json_pack("[[f,f],[f,f],[f,f],[f,f]]", r.xMin, r.yMin, r.xMin, r.yMax, r.xMax,
                               r.yMax, r.xMax, r.yMin));
}

JsonAutoPtr packCondition(const char* type, bool active, std::int32_t value, std::int32_t max,
                          std::int32_t min) {
  return JsonAutoPtr(json_pack("{s:s, s:b, s:i, s:i, s:i}", "type", type, "defaultActive",
                               static_cast<int>(active), "default", value, "max", max, "min", min));
}

}  // namespace

CGI_Pack::CGI_Pack(const DataBoundaries& boundaries, const DefaultValues& defaults)
    : boundaries(boundaries), defaults(defaults) {}

JsonAutoPtr CGI_Pack::capabilities() const {
  JsonAutoPtr document(json_object());
  insertInObject(document.get(), "profiles", profiles());
  insertInObject(document.get(), "presets", presets());
  json_t* triggers = array(document.get(), "triggers");
  appendToArray(triggers, includeArea());
  appendToArray(triggers, loiteringArea());
  appendToArray(triggers, fence());
  json_t* filters = array(document.get(), "filters");
  appendToArray(filters, shortLivedFilter());
  appendToArray(filters, swayingFilter());
  appendToArray(filters, sizePercentageFilter());
  appendToArray(filters, excludeArea());
  return document;
}

JsonAutoPtr CGI_Pack::profiles() const {
  return JsonAutoPtr(json_pack(
      "{s:i, s:i, s:i, s:i}", "minNbrProfilesPerCamera", boundaries.profilesPerCameraMin,
      "maxNbrProfilesPerCamera", boundaries.getMaxNumberProfilesPerCamera(), "minLengthName",
      boundaries.nameLengthMin, "maxLengthName", boundaries.nameLengthMax));
}

JsonAutoPtr CGI_Pack::presets() const {
  return JsonAutoPtr(json_pack("{s:i, s:i}", "maxNbrPresetsPerProfile",
                               boundaries.presetsPerProfileMax, "defaultPreset",
                               static_cast<int>(defaults.preset)));
}

JsonAutoPtr CGI_Pack::shortLivedFilter() const {
  return JsonAutoPtr(json_pack("{s:s, s:i, s:i, s:i, s:b}", "type", "timeShortLivedLimit", "min",
                               boundaries.shortLivedMin, "max", boundaries.shortLivedMax, "default",
                               defaults.shortLived, "defaultActive",
                               static_cast<int>(defaults.shortLivedActive)));
}

JsonAutoPtr CGI_Pack::swayingFilter() const {
  return JsonAutoPtr(json_pack("{s:s, s:i, s:i, s:i, s:b}", "type", "distanceSwayingObject", "min",
                               boundaries.swayingPercentMin, "max", boundaries.swayingPercentMax,
                               "default", defaults.swayingPercent, "defaultActive",
                               static_cast<int>(defaults.swayingActive)));
}

JsonAutoPtr CGI_Pack::sizePercentageFilter() const {
  return JsonAutoPtr(json_pack("{s:s, s:[i,i], s:[i,i], s:[i,i], s:b}", "type", "sizePercentage",
                               "min", boundaries.sizePercentWidthMin,
                               boundaries.sizePercentHeightMin, "max",
                               boundaries.sizePercentWidthMax, boundaries.sizePercentHeightMax,
                               "default", defaults.sizePercentWidth, defaults.sizePercentHeight,
                               "defaultActive", static_cast<int>(defaults.sizePercentActive)));
}

JsonAutoPtr CGI_Pack::includeArea() const {
  return packShape({"includeArea", boundaries.includeAreasMin, boundaries.includeAreasMax, 1},
                   boundaries, packRectangle(defaults.includeArea));
}

JsonAutoPtr CGI_Pack::excludeArea() const {
  return packShape({"excludeArea", boundaries.excludeAreasMin, boundaries.excludeAreasMax, 0},
                   boundaries, packRectangle(defaults.loiteringAndFence));
}

JsonAutoPtr CGI_Pack::loiteringArea() const {
  JsonAutoPtr area =
      packShape({"loiteringArea", boundaries.loiteringAreasMin, boundaries.loiteringAreasMax, 0},
                boundaries, packRectangle(defaults.loiteringAndFence));
  const auto& limits = boundaries.conditionParameters;
  json_t* conditions = array(area.get(), "conditions");
  appendToArray(conditions, packCondition("individual", defaults.individualConditionActive,
                                          defaults.individualCondition, limits[0], limits[1]));
  appendToArray(conditions, packCondition("group", defaults.groupConditionActive,
                                          defaults.groupCondition, limits[2], limits[3]));
  return area;
}

JsonAutoPtr CGI_Pack::fence() const {
  const DefaultRectangle& r = defaults.loiteringAndFence;
  JsonAutoPtr line(json_pack("[[f,f],[f,f]]", r.xMin, r.yMin, r.xMax, r.yMax));
  JsonAutoPtr fence = packShape({"fence", boundaries.fencesMin, boundaries.fencesMax, 0},
                                boundaries, std::move(line));
  insertInObject(fence.get(), "defaultAlarmDirection",
                 JsonAutoPtr(json_string(defaults.alarmDirection.c_str())));
  return fence;
}

json_t* CGI_Pack::object(json_t* parent, const char* name) {
  return insertInObject(parent, name, JsonAutoPtr(json_object())) ? json_object_get(parent, name)
                                                                  : nullptr;
}

json_t* CGI_Pack::array(json_t* parent, const char* name) {
  return insertInObject(parent, name, JsonAutoPtr(json_array())) ? json_object_get(parent, name)
                                                                 : nullptr;
}

bool CGI_Pack::insertInObject(json_t* object, const char* name, JsonAutoPtr value) {
  return json_object_set_new(object, name, value.release()) == 0;
}

bool CGI_Pack::appendToArray(json_t* array, JsonAutoPtr value) {
  return json_array_append_new(array, value.release()) == 0;
}
