#include "config/json_file.h"

#include <gtest/gtest.h>

#include "config/json_auto_ptr.h"
#include "src/config/json_memory.h"
#include "src/config/temporary_folder.h"

namespace {

class JsonFileTest : public testing::Test {
 protected:
  const TemporaryFolder folder;
  const std::string path = folder.path("document.json");
};

TEST_F(JsonFileTest, WritesTheDocument) {
  const JsonAutoPtr document(json_pack("{s:i, s:[i, i]}", "a", 1, "b", 2, 3));
  EXPECT_FALSE(writeJsonFile(path, document.get()).has_value());
  const JsonAutoPtr read(json_load_file(path.c_str(), 0, nullptr));
  EXPECT_TRUE(json_equal(read.get(), document.get()));
}

TEST_F(JsonFileTest, RealsHaveFourSignificantDigits) {
  const JsonAutoPtr document(json_pack("{s:f}", "a", 0.123456));
  EXPECT_FALSE(writeJsonFile(path, document.get()).has_value());
  EXPECT_NE(readText(path).find("0.1235"), std::string::npos);
  EXPECT_EQ(readText(path).find("0.12345"), std::string::npos);
}

TEST_F(JsonFileTest, ReplacesTheWholeFile) {
  writeText(path, std::string(10'000, 'x'));
  const JsonAutoPtr document(json_object());
  EXPECT_FALSE(writeJsonFile(path, document.get()).has_value());
  EXPECT_EQ(readText(path), "{}");
  EXPECT_EQ(folder.fileCount(), 1);
}

TEST_F(JsonFileTest, TellsWhyTheFileCannotBeWritten) {
  const JsonAutoPtr document(json_object());
  const auto error = writeJsonFile(folder.path("missing/document.json"), document.get());
  ASSERT_TRUE(error.has_value());
  EXPECT_FALSE(error->empty());
}

TEST_F(JsonFileTest, ADocumentThatCannotBeSerialisedLeavesTheOldFile) {
  writeText(path, "old");
  EXPECT_TRUE(writeJsonFile(path, nullptr).has_value());
  EXPECT_EQ(readText(path), "old");
}

TEST_F(JsonFileTest, RunningOutOfMemoryLeavesTheOldFile) {
  writeText(path, "old");
  const JsonAutoPtr document(json_pack("{s:i}", "a", 1));
  const JsonMemory memory(0);
  EXPECT_TRUE(writeJsonFile(path, document.get()).has_value());
  EXPECT_EQ(readText(path), "old");
}

}  // namespace
