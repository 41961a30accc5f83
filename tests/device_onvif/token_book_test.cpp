#include "onvif_server/token_book.h"

#include <gtest/gtest.h>

#include "onvif/time_text.h"

namespace device::onvif {
namespace {

constexpr std::int64_t SECOND = 1000000;

class TokenBookTest : public testing::Test {
 protected:
  UserToken token(const std::string& nonce, std::int64_t created,
                  const std::string& password = "pass", const std::string& user = "user") {
    const std::string time = dateTimeText(created);
    return {user, passwordDigest(nonce, time, password), nonce, time};
  }

  std::int64_t now = 1767268800 * SECOND;  // 2026-01-01T12:00:00Z
  TokenBook book{"user", "pass", [this] { return now; }};
};

TEST_F(TokenBookTest, TokenOfTheUserIsGoodOnce) {
  const UserToken good = token("n", now);
  EXPECT_TRUE(book.use(good));
  EXPECT_FALSE(book.use(good));
  EXPECT_TRUE(book.use(token("m", now)));
}

TEST_F(TokenBookTest, KnownVectorIsAccepted) {
  EXPECT_TRUE(book.use({"user", "FSjqpIwtMZauG5JawojqwxCt5eU=",
                        std::string("\0\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17", 16),
                        "2026-01-01T12:00:00.000Z"}));
}

TEST_F(TokenBookTest, OthersPasswordsAndUsersAreRefused) {
  EXPECT_FALSE(book.use(token("n", now, "bad")));
  EXPECT_FALSE(book.use(token("n", now, "")));
  EXPECT_FALSE(book.use(token("n", now, "pass", "other")));
  EXPECT_FALSE(book.use({}));
  EXPECT_TRUE(book.use(token("n", now)));  // what was refused took nothing
}

TEST_F(TokenBookTest, TokenWithoutItsPartsIsRefused) {
  UserToken bare = token("", now);
  EXPECT_FALSE(book.use(bare));
  UserToken timeless = token("n", now);
  timeless.created = "some day";
  timeless.digest = passwordDigest("n", "some day", "pass");
  EXPECT_FALSE(book.use(timeless));
}

TEST_F(TokenBookTest, ClocksMayBeOffByFiveMinutes) {
  EXPECT_TRUE(book.use(token("a", now - 300 * SECOND)));
  EXPECT_TRUE(book.use(token("b", now + 300 * SECOND)));
  EXPECT_FALSE(book.use(token("c", now - 301 * SECOND)));
  EXPECT_FALSE(book.use(token("d", now + 301 * SECOND)));
}

TEST_F(TokenBookTest, WhatWasUsedIsRememberedForAsLongAsItWouldBeGood) {
  const UserToken early = token("n", now + 300 * SECOND);
  EXPECT_TRUE(book.use(early));
  now += 600 * SECOND;
  EXPECT_FALSE(book.use(early));
}

TEST_F(TokenBookTest, ClockThatIsSetBackMakesNoTokenGoodAgain) {
  const UserToken first = token("first", now);
  EXPECT_TRUE(book.use(first));
  now += 700 * SECOND;
  EXPECT_TRUE(book.use(token("later", now)));
  now -= 700 * SECOND;
  EXPECT_FALSE(book.use(first));
  EXPECT_TRUE(book.use(token("new", now)));  // who logs in now is let in all the same
}

TEST_F(TokenBookTest, WhenTooManyWereUsedOldOnesAreGoodNoMore) {
  const UserToken first = token("first", now - SECOND);
  EXPECT_TRUE(book.use(first));
  for (std::size_t i = 0; i < TokenBook::MOST_USED; ++i) {
    ASSERT_TRUE(book.use(token("n" + std::to_string(i), now)));
  }
  EXPECT_FALSE(book.use(first));  // forgotten, but not good again
  EXPECT_FALSE(book.use(token("new", now - SECOND)));
  EXPECT_TRUE(book.use(token("new", now)));
}

}  // namespace
}  // namespace device::onvif
