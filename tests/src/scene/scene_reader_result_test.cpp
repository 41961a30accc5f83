#include "scene/scene_reader_result.h"

#include <gtest/gtest.h>

namespace {

TEST(SceneReaderResult, IsUnsuccessfulWithoutAnAnswer) {
  const SceneReaderResult result;
  EXPECT_FALSE(result.success);
  EXPECT_FALSE(result.version.isValid());
}

TEST(SceneReaderResult, VersionAndOkIsSuccess) {
  const SceneReaderResult result("1.2 OK");
  EXPECT_TRUE(result.success);
  EXPECT_EQ("1.2", result.version.toString());
  EXPECT_TRUE(result.version == API_Version("1.2"));
}

TEST(SceneReaderResult, BlanksAroundTheAnswerAreTrimmed) {
  const SceneReaderResult result("  1.0 OK ");
  EXPECT_TRUE(result.success);
  EXPECT_TRUE(result.version == API_Version("1.0"));
}

TEST(SceneReaderResult, SeveralBlanksSeparateAsOneDoes) {
  for (const char* answer : {"1.0  OK", "1.0    OK", "  1.0  OK  "}) {
    const SceneReaderResult result(answer);
    EXPECT_TRUE(result.success) << answer;
    EXPECT_TRUE(result.version == API_Version("1.0")) << answer;
  }
}

TEST(SceneReaderResult, NothingButBlanksSeparates) {
  EXPECT_FALSE(SceneReaderResult("1.0\tOK").success);
  EXPECT_FALSE(SceneReaderResult("1.0\nOK").success);
}

TEST(SceneReaderResult, AnotherSecondWordIsARefusalWithAVersion) {
  for (const char* answer : {"1.0 ERROR", "1.0 ok", "1.0 OK\n"}) {
    const SceneReaderResult result(answer);
    EXPECT_FALSE(result.success) << answer;
    EXPECT_TRUE(result.version == API_Version("1.0")) << answer;
  }
}

TEST(SceneReaderResult, AThirdWordIsFailure) {
  EXPECT_FALSE(SceneReaderResult("1.2 OK extra").success);
  EXPECT_FALSE(SceneReaderResult("1.2 OK OK").success);
}

TEST(SceneReaderResult, ALoneOkIsFailure) {
  EXPECT_FALSE(SceneReaderResult("OK").success);
  EXPECT_FALSE(SceneReaderResult(" OK").success);
}

TEST(SceneReaderResult, NothingIsFailure) {
  EXPECT_FALSE(SceneReaderResult("").success);
  EXPECT_FALSE(SceneReaderResult("   ").success);
}

}  // namespace
