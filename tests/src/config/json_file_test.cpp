#include "config/json_file.h"

#include <gtest/gtest.h>

#include <limits>

#include "base/json_auto_ptr.h"
#include "fakes/log_capture.h"
#include "src/config/json_memory.h"
#include "support/temporary_folder.h"

namespace {

class JsonFileTest : public testing::Test {
 protected:
  const TemporaryFolder folder;
  const std::string path = folder.path("document.json");
};

TEST_F(JsonFileTest, WritesTheDocument) {
  const JsonAutoPtr document(json_pack("{s:i, s:[i, i]}", "a", 1, "b", 2, 3));
  EXPECT_EQ(writeJsonFile(path, document.get()), JsonFileResult_e::written);
  const JsonAutoPtr read(json_load_file(path.c_str(), 0, nullptr));
  EXPECT_TRUE(json_equal(read.get(), document.get()));
}

TEST_F(JsonFileTest, RealsHaveFourSignificantDigits) {
  const JsonAutoPtr document(json_pack("{s:f}", "a", 0.123456));
  EXPECT_EQ(writeJsonFile(path, document.get()), JsonFileResult_e::written);
  EXPECT_NE(readText(path).find("0.1235"), std::string::npos);
  EXPECT_EQ(readText(path).find("0.12345"), std::string::npos);
}

TEST_F(JsonFileTest, ReplacesTheWholeFile) {
  writeText(path, std::string(10'000, 'x'));
  const JsonAutoPtr document(json_object());
  EXPECT_EQ(writeJsonFile(path, document.get()), JsonFileResult_e::written);
  EXPECT_EQ(readText(path), "{}");
  EXPECT_EQ(folder.fileCount(), 1);
}

TEST_F(JsonFileTest, TellsTheLogWhyTheFileCannotBeWritten) {
  const JsonAutoPtr document(json_object());
  const std::string missing = folder.path("missing/document.json");
  LogCapture::clear();
  EXPECT_EQ(writeJsonFile(missing, document.get()), JsonFileResult_e::notWritten);
  ASSERT_EQ(LogCapture::lines().size(), 1U);
  EXPECT_TRUE(LogCapture::lines()[0].text.starts_with("Failed to write " + missing + " to disk ("));
}

TEST_F(JsonFileTest, ADocumentThatCannotBeSerialisedLeavesTheOldFile) {
  writeText(path, "old");
  EXPECT_EQ(writeJsonFile(path, nullptr), JsonFileResult_e::notSerialised);
  EXPECT_EQ(readText(path), "old");
}

// 1.7976931348623157e308 is rounded to 1.798e308, which is beyond the largest real.
TEST_F(JsonFileTest, ARealThatRoundingTakesBeyondAllRealsLeavesTheOldFile) {
  writeText(path, "old");
  for (const double value : {std::numeric_limits<double>::max(), -1.7976e308}) {
    const JsonAutoPtr document(json_pack("{s:[f]}", "a", value));
    EXPECT_EQ(writeJsonFile(path, document.get()), JsonFileResult_e::notSerialised);
    EXPECT_EQ(readText(path), "old");
  }
  const JsonAutoPtr document(json_pack("{s:f}", "a", 1.797e308));
  EXPECT_EQ(writeJsonFile(path, document.get()), JsonFileResult_e::written);
}

TEST_F(JsonFileTest, RunningOutOfMemoryLeavesTheOldFile) {
  writeText(path, "old");
  const JsonAutoPtr document(json_pack("{s:i}", "a", 1));
  const JsonMemory memory(0);
  EXPECT_EQ(writeJsonFile(path, document.get()), JsonFileResult_e::notSerialised);
  EXPECT_EQ(readText(path), "old");
}

}  // namespace
