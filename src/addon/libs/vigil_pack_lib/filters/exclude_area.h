#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_EXCLUDE_AREA_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_EXCLUDE_AREA_H

#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"

// An area in which objects do not raise the alarm. Stands among the filters but is none: it becomes
// part of the guard's area (ProtectionArea), and is always effective.
extern const EntryKind EXCLUDE_AREA_KIND;

#endif
