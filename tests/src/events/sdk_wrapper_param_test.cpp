#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <cstring>
#include <string>

#include "events/sdk_wrapper.h"
#include "src/events/wrapper_test_base.h"

namespace {

constexpr const char* NAME = "root.Brand.ProdNbr";

using SdkWrapperParamTest = InitializedWrapperTest;
using SdkWrapperParamBeforeInitTest = WrapperTest;

std::array<char, 8> filledBuffer() {
  std::array<char, 8> buffer;
  buffer.fill('#');
  return buffer;
}

TEST_F(SdkWrapperParamBeforeInitTest, IsEmptyWithAWarning) {
  std::array<char, 8> buffer = filledBuffer();
  sdk_wrapper_param_get(NAME, buffer.data(), buffer.size());
  EXPECT_STREQ(buffer.data(), "");
  EXPECT_EQ(log.count(LOG_WARNING,
                      "Cannot get parameter root.Brand.ProdNbr (handler not initialized). Using: "
                      "root.Brand.ProdNbr = \n"),
            1);
}

TEST_F(SdkWrapperParamTest, CopiesTheValue) {
  FakeParameters::set(NAME, "Q6315");
  std::array<char, 8> buffer = filledBuffer();
  sdk_wrapper_param_get(NAME, buffer.data(), buffer.size());
  EXPECT_STREQ(buffer.data(), "Q6315");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SdkWrapperParamTest, AValueThatJustFitsIsWhole) {
  FakeParameters::set(NAME, "1234567");
  std::array<char, 8> buffer = filledBuffer();
  sdk_wrapper_param_get(NAME, buffer.data(), buffer.size());
  EXPECT_STREQ(buffer.data(), "1234567");
}

TEST_F(SdkWrapperParamTest, ALongerValueIsCut) {
  FakeParameters::set(NAME, "12345678");
  std::array<char, 8> buffer = filledBuffer();
  sdk_wrapper_param_get(NAME, buffer.data(), buffer.size());
  EXPECT_STREQ(buffer.data(), "1234567");
}

TEST_F(SdkWrapperParamTest, NothingBehindTheSizeIsTouched) {
  FakeParameters::set(NAME, "12345678");
  std::array<char, 8> buffer = filledBuffer();
  sdk_wrapper_param_get(NAME, buffer.data(), 4);
  EXPECT_STREQ(buffer.data(), "123");
  EXPECT_EQ(buffer[4], '#');
}

TEST_F(SdkWrapperParamTest, ARoomForTheEndOnlyGivesEmptyText) {
  FakeParameters::set(NAME, "12345678");
  std::array<char, 8> buffer = filledBuffer();
  sdk_wrapper_param_get(NAME, buffer.data(), 1);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], '#');
}

TEST_F(SdkWrapperParamTest, NoRoomAtAllIsLeftAlone) {
  FakeParameters::set(NAME, "12345678");
  std::array<char, 8> buffer = filledBuffer();
  sdk_wrapper_param_get(NAME, buffer.data(), 0);
  EXPECT_EQ(buffer[0], '#');
}

TEST_F(SdkWrapperParamTest, AnUnreadableParameterIsEmpty) {
  std::array<char, 8> buffer = filledBuffer();
  sdk_wrapper_param_get(NAME, buffer.data(), buffer.size());
  EXPECT_STREQ(buffer.data(), "");
}

}  // namespace
