#include "addon/libs/vigil_pack_lib/factory/entry_kinds.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"

namespace {

void readNothing(const json_t*, ParsedProfile&) {}

JsonAutoPtr packNothing(const DefaultValues&) {
  return JsonAutoPtr(json_null());
}

constexpr EntryKind ONE{.type = "one", .parse = readNothing, .defaultEntry = packNothing};
constexpr EntryKind TWO{.type = "two", .parse = readNothing, .defaultEntry = packNothing};
constexpr EntryKind THREE{.type = "three", .parse = readNothing, .defaultEntry = packNothing};
constexpr EntryKind NOT_IN_NEW_PROFILES{.type = "other", .parse = readNothing};

TEST(EntryKindsTest, EachTypeHasOneRowAndCanBeRead) {
  for (const EntryRows rows : {triggerRows(), filterRows()}) {
    std::set<std::string> types;
    for (const EntryRow& row : rows) {
      EXPECT_TRUE(types.insert(row.kind->type).second) << row.kind->type;
      EXPECT_NE(row.kind->parse, nullptr) << row.kind->type;
    }
  }
}

TEST(EntryKindsTest, AKindIsFoundByItsType) {
  const std::vector<EntryRow> rows{{&ONE}, {&TWO}};
  EXPECT_EQ(findEntryKind(rows, "two"), &TWO);
  EXPECT_EQ(findEntryKind(rows, "tw"), nullptr);
  EXPECT_EQ(findEntryKind(rows, ""), nullptr);
  EXPECT_EQ(findEntryKind({}, "one"), nullptr);
}

TEST(EntryKindsTest, ANewProfileListsByPlaceAndThenByRow) {
  const std::vector<EntryRow> rows{{&ONE, 5}, {&TWO, 5}, {&THREE, -1}};
  EXPECT_EQ(entryKindsOfNewProfile(rows), (std::vector<const EntryKind*>{&THREE, &ONE, &TWO}));
}

TEST(EntryKindsTest, AKindWithoutADefaultEntryIsInNoNewProfile) {
  const std::vector<EntryRow> rows{{&NOT_IN_NEW_PROFILES}, {&ONE}};
  EXPECT_EQ(entryKindsOfNewProfile(rows), (std::vector<const EntryKind*>{&ONE}));
}

}  // namespace
