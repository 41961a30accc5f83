#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_CGI_PACK_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_CGI_PACK_H

#include "addon/libs/vigil_pack_lib/factory/entry_kinds.h"
#include "base/json_auto_ptr.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"

// Builds the description of what a configuration may hold, for clients that let people edit one:
// {"profiles": {...}, "presets": {...}, "triggers": [...], "filters": [...]}.
class CGI_Pack {
 public:
  CGI_Pack(const DataBoundaries& boundaries, const DefaultValues& defaults);

  // The whole description; of triggers and filters what factory/entry_kinds lists. A piece that
  // cannot be built is left out.
  JsonAutoPtr capabilities() const;

  JsonAutoPtr profiles() const;
  JsonAutoPtr presets() const;

  // Assembly: a new member of that name in the parent (borrowed, null on failure; so far nothing
  // here needs an object), and additions that take the value.
  static json_t* object(json_t* parent, const char* name);
  static json_t* array(json_t* parent, const char* name);
  static bool insertInObject(json_t* object, const char* name, JsonAutoPtr value);
  static bool appendToArray(json_t* array, JsonAutoPtr value);

 private:
  void appendCapabilities(json_t* list, EntryRows rows) const;

  const DataBoundaries& boundaries;
  const DefaultValues& defaults;
};

#endif
