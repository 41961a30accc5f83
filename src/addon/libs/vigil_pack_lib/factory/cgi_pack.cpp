#include "addon/libs/vigil_pack_lib/factory/cgi_pack.h"

CGI_Pack::CGI_Pack(const DataBoundaries& boundaries, const DefaultValues& defaults)
    : boundaries(boundaries), defaults(defaults) {}

JsonAutoPtr CGI_Pack::capabilities() const {
  JsonAutoPtr document(json_object());
  insertInObject(document.get(), "profiles", profiles());
  insertInObject(document.get(), "presets", presets());
  appendCapabilities(array(document.get(), "triggers"), triggerRows());
  appendCapabilities(array(document.get(), "filters"), filterRows());
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

void CGI_Pack::appendCapabilities(json_t* list, EntryRows rows) const {
  for (const EntryRow& row : rows) {
    if (row.kind->capability != nullptr) {
      appendToArray(list, row.kind->capability(boundaries, defaults));
    }
  }
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
