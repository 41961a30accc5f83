#include "addon/libs/vigil_pack_lib/factory/entry_kinds.h"

#include <algorithm>

#include "addon/libs/vigil_pack_lib/filters/exclude_area.h"
#include "addon/libs/vigil_pack_lib/filters/object_lifetime_filter.h"
#include "addon/libs/vigil_pack_lib/filters/size_filter_percent.h"
#include "addon/libs/vigil_pack_lib/filters/size_filter_perspective.h"
#include "addon/libs/vigil_pack_lib/filters/swaying_filter.h"
#include "addon/libs/vigil_pack_lib/triggers/fence.h"
#include "addon/libs/vigil_pack_lib/triggers/include_area.h"
#include "addon/libs/vigil_pack_lib/triggers/loitering_area.h"

namespace {

constexpr int FIRST_IN_NEW_PROFILE = -1;

constexpr EntryRow TRIGGERS[] = {
    {&INCLUDE_AREA_KIND},
    {&LOITERING_AREA_KIND},
    {&FENCE_KIND},
};

constexpr EntryRow FILTERS[] = {
    {&OBJECT_LIFETIME_FILTER_KIND},
    {&SWAYING_FILTER_KIND},
    {&SIZE_FILTER_PERCENT_KIND, FIRST_IN_NEW_PROFILE},
    {&SIZE_FILTER_PERSPECTIVE_KIND},
    {&EXCLUDE_AREA_KIND},
};

}  // namespace

EntryRows triggerRows() {
  return TRIGGERS;
}

EntryRows filterRows() {
  return FILTERS;
}

const EntryKind* findEntryKind(EntryRows rows, std::string_view type) {
  const auto found =
      std::ranges::find_if(rows, [type](const EntryRow& row) { return row.kind->type == type; });
  return found == rows.end() ? nullptr : found->kind;
}

std::vector<const EntryKind*> entryKindsOfNewProfile(EntryRows rows) {
  std::vector<EntryRow> sorted(rows.begin(), rows.end());
  std::ranges::stable_sort(sorted, {}, &EntryRow::placeInNewProfile);
  std::vector<const EntryKind*> kinds;
  for (const EntryRow& row : sorted) {
    if (row.kind->defaultEntry != nullptr) {
      kinds.push_back(row.kind);
    }
  }
  return kinds;
}
