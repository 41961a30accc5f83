#include "events/parameter.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <string>

#include "src/events/wrapper_test_base.h"

namespace {

constexpr const char* NAME = "root.Brand.ProdNbr";

using ParameterTest = InitializedWrapperTest;
using ParameterBeforeInitTest = WrapperTest;

TEST_F(ParameterTest, ReadsTheValueAnewEachTime) {
  FakeParameters::set(NAME, "K47");
  EXPECT_EQ(utils::readParameter(NAME, 20), "K47");
  FakeParameters::set(NAME, "K47-2");
  EXPECT_EQ(utils::readParameter(NAME, 20), "K47-2");
}

TEST_F(ParameterTest, CutsWhatIsLonger) {
  FakeParameters::set(NAME, "12345");
  EXPECT_EQ(utils::readParameter(NAME, 5), "12345");
  EXPECT_EQ(utils::readParameter(NAME, 4), "1234");
  EXPECT_EQ(utils::readParameter(NAME, 0), "");
}

TEST_F(ParameterTest, IsEmptyWhenThereIsNone) {
  EXPECT_EQ(utils::readParameter(NAME, 20), "");
}

TEST_F(ParameterTest, AQuestionThatIsLostIsNoParameterThatThereIsNot) {
  EXPECT_EQ(utils::askParameter(NAME, 20), "");
  FakeParameters::set(NAME, "K47");
  EXPECT_EQ(utils::askParameter(NAME, 20), "K47");
  FakeParameters::silence(NAME);
  EXPECT_EQ(utils::askParameter(NAME, 20), std::nullopt);
  EXPECT_EQ(utils::readParameter(NAME, 20), "");
}

TEST_F(ParameterBeforeInitTest, NothingIsAnswered) {
  EXPECT_EQ(utils::askParameter(NAME, 20), std::nullopt);
}

TEST_F(ParameterBeforeInitTest, IsEmptyWithAWarning) {
  EXPECT_EQ(utils::readParameter(NAME, 20), "");
  EXPECT_EQ(log.count(LOG_WARNING,
                      "Cannot get parameter root.Brand.ProdNbr (handler not initialized). Using: "
                      "root.Brand.ProdNbr = \n"),
            1);
}

}  // namespace
