#ifndef ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_ENTRY_KIND_H
#define ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_ENTRY_KIND_H

#include <jansson.h>

#include "base/json_auto_ptr.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"

struct ParsedProfile;

// One kind of entry in a profile's "triggers" or "filters", with all that documents say of it. Each
// stands in the file of what it describes; factory/entry_kinds lists them. The functions keep
// nothing and may be called on any thread.
struct EntryKind {
  // What stands under "type" in documents.
  const char* type;

  // Reads one entry of this type into the profile. Throws StatusException at the first failure.
  void (*parse)(const json_t* entry, ParsedProfile& profile);

  // What an entry may hold, for clients that let people edit one; null where they are not told of
  // it. The result is null when memory runs out.
  JsonAutoPtr (*capability)(const DataBoundaries& boundaries,
                            const DefaultValues& defaults) = nullptr;

  // The entry of a new profile; null where a new profile has none. The result as above.
  JsonAutoPtr (*defaultEntry)(const DefaultValues& defaults) = nullptr;

  // Checks the whole profile for what contradicts its entries of this kind, once all of it has been
  // read and whether or not it has any; null where nothing can. Throws StatusException.
  void (*validate)(const ParsedProfile& profile) = nullptr;
};

#endif
