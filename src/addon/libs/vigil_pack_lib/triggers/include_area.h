#ifndef ADDON_LIBS_VIGIL_PACK_LIB_TRIGGERS_INCLUDE_AREA_H
#define ADDON_LIBS_VIGIL_PACK_LIB_TRIGGERS_INCLUDE_AREA_H

#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"

// The trigger of an area guard: the polygon in which objects raise the alarm. One a profile.
extern const EntryKind INCLUDE_AREA_KIND;

#endif
