#include "web_server/nonce_book.h"

#include <gtest/gtest.h>

#include <set>

namespace device {
namespace {

using std::chrono::seconds;

class NonceBookTest : public testing::Test {
 protected:
  static constexpr seconds LIFETIME{300};

  void advance(std::chrono::microseconds time) { now += time.count(); }

  std::int64_t now = 1;  // a machine that has only just started
  NonceBook nonces{LIFETIME, [this] { return now; }};
};

TEST_F(NonceBookTest, EveryNonceIsAnother) {
  std::set<std::string> issued;
  for (int i = 0; i < 1000; ++i) {
    issued.insert(nonces.issue());
  }
  EXPECT_EQ(1000u, issued.size());
}

TEST_F(NonceBookTest, CountIsGoodOnce) {
  const std::string nonce = nonces.issue();
  EXPECT_TRUE(nonces.use(nonce, 1));
  EXPECT_FALSE(nonces.use(nonce, 1));
  EXPECT_TRUE(nonces.use(nonce, 2));
  EXPECT_FALSE(nonces.use(nonce, 2));
  EXPECT_FALSE(nonces.use(nonce, 1));
  EXPECT_FALSE(nonces.use(nonce, 0));
  EXPECT_TRUE(nonces.use(nonces.issue(), 1));
}

TEST_F(NonceBookTest, RequestsThatOvertakeEachOtherAreGood) {
  const std::string nonce = nonces.issue();
  for (const std::uint32_t count : {3u, 1u, 5u, 2u, 4u}) {
    EXPECT_TRUE(nonces.use(nonce, count));
  }
  for (std::uint32_t count = 1; count <= 5; ++count) {
    EXPECT_FALSE(nonces.use(nonce, count));
  }
}

TEST_F(NonceBookTest, CountThatIsTooFarBehindIsLate) {
  const std::string nonce = nonces.issue();
  EXPECT_TRUE(nonces.use(nonce, 100));
  EXPECT_TRUE(nonces.use(nonce, 37));  // 63 behind
  EXPECT_FALSE(nonces.use(nonce, 37));
  EXPECT_FALSE(nonces.use(nonce, 36));
  EXPECT_TRUE(nonces.use(nonce, 0xFFFFFFFF));
  EXPECT_FALSE(nonces.use(nonce, 99));
  EXPECT_TRUE(nonces.use(nonce, 0xFFFFFFFE));
}

TEST_F(NonceBookTest, NonceIsGoodForItsLifetime) {
  const std::string nonce = nonces.issue();
  advance(LIFETIME - std::chrono::microseconds(1));
  EXPECT_TRUE(nonces.use(nonce, 1));
  advance(std::chrono::microseconds(1));
  EXPECT_FALSE(nonces.use(nonce, 2));
}

TEST_F(NonceBookTest, NonceOfSomebodyElseIsNoGood) {
  NonceBook others(LIFETIME, [this] { return now; });
  std::string nonce = nonces.issue();
  EXPECT_FALSE(nonces.use(others.issue(), 1));
  EXPECT_FALSE(nonces.use("", 1));
  EXPECT_FALSE(nonces.use(nonce + '0', 1));
  EXPECT_FALSE(nonces.use(nonce.substr(1), 1));
  for (char& digit : nonce) {
    const char kept = digit;
    digit = kept == '0' ? '1' : '0';
    EXPECT_FALSE(nonces.use(nonce, 1));
    digit = kept;
  }
  EXPECT_TRUE(nonces.use(nonce, 1));
}

// Nothing that was used comes back to be used again, however many are used meanwhile.
TEST_F(NonceBookTest, OldestOfVeryManyIsGoodNoMore) {
  const std::string unused = nonces.issue();
  const std::string first = nonces.issue();
  EXPECT_TRUE(nonces.use(first, 1));
  std::string nonce;
  for (std::size_t i = 1; i < NonceBook::MAX_USED; ++i) {
    nonce = nonces.issue();
    EXPECT_TRUE(nonces.use(nonce, 1));
  }
  EXPECT_TRUE(nonces.use(first, 2));
  EXPECT_TRUE(nonces.use(nonces.issue(), 1));
  EXPECT_FALSE(nonces.use(first, 1));
  EXPECT_FALSE(nonces.use(first, 3));
  EXPECT_FALSE(nonces.use(unused, 1));
  EXPECT_TRUE(nonces.use(nonce, 2));
}

}  // namespace
}  // namespace device
