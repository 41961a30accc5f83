#include "web_server/site_about.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace device {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class SiteAboutTest : public testing::Test {
 protected:
  // Numbers of the looks at which it was asked, of so many.
  std::vector<int> looksThatAsk(int count) {
    std::vector<int> asking;
    for (int look = 0; look < count; ++look) {
      asked.clear();
      about.look();
      if (!asked.empty()) {
        asking.push_back(look);
      }
    }
    return asking;
  }

  std::string answer;  // empty: there is none
  std::vector<std::string> asked;
  int told = 0;
  SiteAbout about{
      [this](const std::string& body, const std::function<void(const std::string* answer)>& done) {
        asked.push_back(body);
        done(answer.empty() ? nullptr : &answer);
      },
      [this] { ++told; }};
};

TEST_F(SiteAboutTest, WhoDoesNotAnswerIsAskedEverMoreRarely) {
  about.outdate();
  // Pauses of 1, 2, 4, 8, 16 and 32 looks, then of 60.
  EXPECT_THAT(looksThatAsk(192), ElementsAre(0, 2, 5, 10, 19, 36, 69, 130, 191));
}

TEST_F(SiteAboutTest, WhoComesAgainIsAskedAtOnce) {
  about.outdate();
  looksThatAsk(40);
  answer = R"({"data":{"apiVersions":["1.0"],"configurationStatus":7}})";
  about.outdate();
  EXPECT_THAT(looksThatAsk(40), ElementsAre(0));
  EXPECT_EQ("1.0", about.apiVersions());
  EXPECT_EQ(2, told);
  // Another time the pauses are short again.
  answer.clear();
  about.outdate();
  EXPECT_THAT(looksThatAsk(6), ElementsAre(0, 2, 5));
}

TEST_F(SiteAboutTest, HalfAnAnswerIsNone) {
  answer = R"({"data":{"apiVersions":["1.0"]}})";
  about.outdate();
  EXPECT_THAT(looksThatAsk(5), ElementsAre(0, 2));
  EXPECT_EQ(1, told);
}

TEST_F(SiteAboutTest, ConfigurationIsAskedForAgainWhenItWasChanged) {
  answer = R"({"data":{"apiVersions":["1.0"],"configurationStatus":7}})";
  about.take(R"({"method":"getConfiguration"})");
  EXPECT_THAT(looksThatAsk(3), ElementsAre());
  about.take(R"({"method":"setConfiguration"})");
  EXPECT_THAT(looksThatAsk(3), ElementsAre(0));
}

TEST_F(SiteAboutTest, NothingIsKnownAtFirst) {
  EXPECT_EQ("", about.apiVersions());
  EXPECT_THAT(looksThatAsk(3), SizeIs(0));
}

}  // namespace
}  // namespace device
