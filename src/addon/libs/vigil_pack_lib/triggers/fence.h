#ifndef ADDON_LIBS_VIGIL_PACK_LIB_TRIGGERS_FENCE_H
#define ADDON_LIBS_VIGIL_PACK_LIB_TRIGGERS_FENCE_H

#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"

// A line that objects cross, with the direction that counts. One a profile, where the limits allow
// it.
extern const EntryKind FENCE_KIND;

#endif
