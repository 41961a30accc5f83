#include "services/head_requests.h"

#include <gtest/gtest.h>

#include <limits>

namespace device {
namespace {

TEST(HeadRequestsTest, OtherChannelsAndSpeedsAreRefused) {
  EXPECT_EQ(nullptr, refusalOf(1));
  EXPECT_EQ(nullptr, refusalOf(1, 100));
  EXPECT_STREQ("The head is on channel 1", refusalOf(0));
  EXPECT_STREQ("The head is on channel 1", refusalOf(2, 101));
  EXPECT_STREQ("A speed is 0 to 100 percent", refusalOf(1, 101));
}

TEST(HeadRequestsTest, AnAxisIsDrivenByAKnownKindAndANumber) {
  EXPECT_EQ(MoveKind::absolute, axisCommand(1, -12.5)->kind);
  EXPECT_EQ(-12.5, axisCommand(1, -12.5)->value);
  EXPECT_EQ(MoveKind::continuous, axisCommand(3, 40)->kind);
  EXPECT_FALSE(axisCommand(2, 40));
  EXPECT_FALSE(axisCommand(1, std::numeric_limits<double>::quiet_NaN()));
}

TEST(HeadRequestsTest, AnAxisThatIsNotDrivenNeedsNoNumber) {
  EXPECT_EQ(MoveKind::none, axisCommand(0, std::numeric_limits<double>::infinity())->kind);
}

TEST(HeadRequestsTest, OtherLinesAreAnsweredByAnError) {
  const HeadParameters parameters({{"Brand.ProdNbr", "H100-E"}}, [] { return true; });
  EXPECT_EQ("error: not a request", parameters.answer("GET something 1"));
  EXPECT_EQ("error: not a request", parameters.answer(""));
  EXPECT_EQ("error: not a request",
            parameters.answer("GET orva-cgi/param.cgi?action=list&group=Brand.ProdNbr"));
}

TEST(HeadRequestsTest, AParameterIsFoundWithAndWithoutItsRoot) {
  const HeadParameters parameters({{"Brand.ProdNbr", "H100-E"}}, [] { return true; });
  const std::string request = "GET orva-cgi/param.cgi?action=list&group=";
  EXPECT_EQ("root.Brand.ProdNbr=H100-E", parameters.answer(request + "Brand.ProdNbr 1"));
  EXPECT_EQ("root.Brand.ProdNbr=H100-E", parameters.answer(request + "root.Brand.ProdNbr 1\r"));
}

}  // namespace
}  // namespace device
