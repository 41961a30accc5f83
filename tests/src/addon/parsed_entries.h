// Entries of a profile's "triggers" and "filters", read and written by their kind alone.
#ifndef TESTS_SRC_ADDON_PARSED_ENTRIES_H
#define TESTS_SRC_ADDON_PARSED_ENTRIES_H

#include <jansson.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"
#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "base/json_auto_ptr.h"
#include "base/json_text.h"
#include "config/constants.h"
#include "config/status_exception.h"

constexpr std::int32_t PARSED_UID = 7;

// The profile of PARSED_UID that holds nothing but the entry. Throws what the kind throws.
inline ParsedProfile parsedWith(const EntryKind& kind, const std::string& text,
                                const DataBoundaries& boundaries) {
  const JsonAutoPtr entry(json_loads(text.c_str(), 0, nullptr));
  if (!entry) {
    throw std::runtime_error("no JSON: " + text);
  }
  ParsedProfile profile(0, boundaries, 0);
  profile.uid = PARSED_UID;
  profile.triggerCount = 1;
  kind.parse(entry.get(), profile);
  return profile;
}

// The one filter that the entry comes to.
inline std::unique_ptr<ExclusionFilter> filterOf(const EntryKind& kind, const std::string& text) {
  const DataBoundaries boundaries;
  ParsedProfile profile = parsedWith(kind, text, boundaries);
  return profile.filters.size() == 1 ? std::move(profile.filters.front()) : nullptr;
}

// "status message" of the entry's refusal; empty when it is accepted.
inline std::string refusalOf(const EntryKind& kind, const std::string& text) {
  const DataBoundaries boundaries;
  try {
    parsedWith(kind, text, boundaries);
  } catch (const StatusException& refusal) {
    return std::to_string(static_cast<int>(refusal.getStatus())) + " " + refusal.what();
  }
  return "";
}

// As documents are written.
inline std::string writtenAs(const JsonAutoPtr& value) {
  return toText(value.get(), constants::JSON_DUMP_FLAGS);
}

#endif
