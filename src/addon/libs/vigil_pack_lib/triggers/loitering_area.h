#ifndef ADDON_LIBS_VIGIL_PACK_LIB_TRIGGERS_LOITERING_AREA_H
#define ADDON_LIBS_VIGIL_PACK_LIB_TRIGGERS_LOITERING_AREA_H

#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"

// A polygon in which objects stay for too long, with the conditions for it. One a profile, where
// the limits allow it.
extern const EntryKind LOITERING_AREA_KIND;

#endif
