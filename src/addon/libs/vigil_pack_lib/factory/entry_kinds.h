#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_ENTRY_KINDS_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_ENTRY_KINDS_H

#include <span>
#include <string_view>
#include <vector>

#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"

// A kind's row. Capabilities list the kinds in the order of their rows.
struct EntryRow {
  const EntryKind* kind;

  // A new profile lists its entries by this number, and in the order of rows where it is the same.
  int placeInNewProfile = 0;
};

using EntryRows = std::span<const EntryRow>;

// Everything that may stand in a profile's "triggers", and in its "filters".
EntryRows triggerRows();
EntryRows filterRows();

// Null when no row is of that type.
const EntryKind* findEntryKind(EntryRows rows, std::string_view type);

// Those that a new profile has an entry of, in its order.
std::vector<const EntryKind*> entryKindsOfNewProfile(EntryRows rows);

#endif
