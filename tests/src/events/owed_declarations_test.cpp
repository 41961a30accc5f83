#include "events/owed_declarations.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

class OwedDeclarationsTest : public testing::Test {
 protected:
  // A declaration that notes its attempts and fails as long as it is refused.
  OwedDeclarations::Declare named(const std::string& name) {
    return [this, name] {
      tried.push_back(name);
      return name != refused && !isAway;
    };
  }

  bool declare(const std::string& key, const std::string& name) {
    return owed.declare(key, named(name));
  }

  void serviceComes() {
    isAway = false;
    tried.clear();
  }

  bool isAway = true;
  std::string refused;
  Texts tried;
  OwedDeclarations owed;
};

TEST_F(OwedDeclarationsTest, WhatCanBeDeclaredIsNotOwed) {
  isAway = false;
  EXPECT_TRUE(declare("key", "one"));
  EXPECT_FALSE(owed.isOwed("key"));
  EXPECT_TRUE(owed.empty());
}

TEST_F(OwedDeclarationsTest, AreSettledInTheOrderOfTheDemands) {
  EXPECT_FALSE(declare("b", "first"));
  EXPECT_FALSE(declare("a", "second"));
  EXPECT_FALSE(declare("b", "third"));
  serviceComes();
  owed.settle();
  EXPECT_EQ(tried, (Texts{"first", "second", "third"}));
  EXPECT_TRUE(owed.empty());
}

// A service that answers nobody costs the time-out of each call.
TEST_F(OwedDeclarationsTest, TheFirstThatFailsEndsTheAttempt) {
  declare("a", "first");
  declare("b", "second");
  declare("c", "third");
  serviceComes();
  refused = "second";
  owed.settle();
  EXPECT_EQ(tried, (Texts{"first", "second"}));
  EXPECT_FALSE(owed.isOwed("a"));
  EXPECT_TRUE(owed.isOwed("b"));
  EXPECT_TRUE(owed.isOwed("c"));
}

// The one declared last gives the event its name.
TEST_F(OwedDeclarationsTest, ADeclarationWaitsForAnOwedOneOfItsKey) {
  declare("key", "old");
  serviceComes();
  EXPECT_FALSE(declare("key", "new"));
  EXPECT_TRUE(tried.empty());
  EXPECT_TRUE(declare("other", "other")) << "no other key's";
  owed.settle();
  EXPECT_EQ(tried, (Texts{"other", "old", "new"}));
}

TEST_F(OwedDeclarationsTest, TheOldestOfTheKeyIsForgiven) {
  declare("other", "other");
  declare("key", "old");
  declare("key", "new");
  EXPECT_TRUE(owed.forgive("key"));
  serviceComes();
  owed.settle();
  EXPECT_EQ(tried, (Texts{"other", "new"}));
}

TEST_F(OwedDeclarationsTest, NothingIsForgivenThatIsNotOwed) {
  declare("other", "other");
  EXPECT_FALSE(owed.forgive("key"));
  EXPECT_TRUE(owed.isOwed("other"));
}

TEST_F(OwedDeclarationsTest, WhatWasMissedIsTakenOnceNoLongerOwed) {
  using Missed = std::map<int, Texts>;
  Missed missed{{1, {"first"}}, {2, {"second"}}, {3, {"third"}}};
  declare("key2", "second");
  const auto eventOf = [](int key) { return "key" + std::to_string(key); };
  EXPECT_EQ(owed.takePaid(missed, eventOf), (Missed{{1, {"first"}}, {3, {"third"}}}));
  EXPECT_EQ(missed, (Missed{{2, {"second"}}}));
  serviceComes();
  owed.settle();
  EXPECT_EQ(owed.takePaid(missed, eventOf), (Missed{{2, {"second"}}}));
  EXPECT_TRUE(missed.empty());
}

}  // namespace
