#include "config/persistent_config_handler.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "base/json_auto_ptr.h"
#include "fakes/log_capture.h"
#include "src/config/json_memory.h"
#include "support/temporary_folder.h"

namespace {

class PersistentConfigHandlerTest : public testing::Test {
 protected:
  const TemporaryFolder folder;
  const std::string path = folder.path("config.json");
  const LogCapture log;
};

TEST_F(PersistentConfigHandlerTest, AMissingFileIsEmpty) {
  EXPECT_EQ(PersistentConfigHandler::load(path), "");
}

TEST_F(PersistentConfigHandlerTest, AnEmptyFileIsEmpty) {
  writeText(path, "");
  EXPECT_EQ(PersistentConfigHandler::load(path), "");
}

TEST_F(PersistentConfigHandlerTest, TheTextIsReadAsItStands) {
  const std::string text = " {\"a\":  1}\n\ttail that is no JSON \xff";
  writeText(path, text);
  EXPECT_EQ(PersistentConfigHandler::load(path), text);
}

TEST_F(PersistentConfigHandlerTest, ALargeFileIsReadWhole) {
  const std::string text = "[" + std::string(1'000'000, ' ') + "]";
  writeText(path, text);
  EXPECT_EQ(PersistentConfigHandler::load(path), text);
}

// Nobody may take it for a missing file and put the default in its place.
TEST_F(PersistentConfigHandlerTest, AFileThatCannotBeReadGivesATextThatDoesNotParse) {
  std::filesystem::create_directory(path);
  const std::string text = PersistentConfigHandler::load(path);
  EXPECT_NE(text, "");
  EXPECT_FALSE(JsonAutoPtr(json_loads(text.c_str(), 0, nullptr)));
}

TEST_F(PersistentConfigHandlerTest, WhatIsSavedIsLoaded) {
  const JsonAutoPtr document(json_pack("{s:{s:i, s:[f, f]}}", "params", "a", 1, "b", -0.97, 0.97));
  EXPECT_TRUE(PersistentConfigHandler::save(document.get(), path));
  const JsonAutoPtr loaded(json_loads(PersistentConfigHandler::load(path).c_str(), 0, nullptr));
  EXPECT_TRUE(json_equal(loaded.get(), document.get()));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(PersistentConfigHandlerTest, RealsHaveFourSignificantDigits) {
  const JsonAutoPtr document(json_pack("[f]", 0.123456));
  EXPECT_TRUE(PersistentConfigHandler::save(document.get(), path));
  EXPECT_NE(readText(path).find("0.1235"), std::string::npos);
  EXPECT_EQ(readText(path).find("0.12345"), std::string::npos);
}

TEST_F(PersistentConfigHandlerTest, SavingReplacesTheWholeFile) {
  writeText(path, std::string(10'000, 'x'));
  const JsonAutoPtr document(json_object());
  EXPECT_TRUE(PersistentConfigHandler::save(document.get(), path));
  EXPECT_EQ(PersistentConfigHandler::load(path), "{}");
  EXPECT_EQ(folder.fileCount(), 1);
}

TEST_F(PersistentConfigHandlerTest, AFailedSaveIsLogged) {
  const JsonAutoPtr document(json_object());
  EXPECT_FALSE(PersistentConfigHandler::save(document.get(), folder.path("missing/config.json")));
  EXPECT_FALSE(log.lines().empty());
}

TEST_F(PersistentConfigHandlerTest, AFailedSaveLeavesTheOldFile) {
  writeText(path, "{\"old\": true}");
  const JsonAutoPtr document(json_object());
  const JsonMemory memory(0);
  EXPECT_FALSE(PersistentConfigHandler::save(document.get(), path));
  EXPECT_FALSE(PersistentConfigHandler::save(nullptr, path));
  EXPECT_EQ(readText(path), "{\"old\": true}");
  EXPECT_FALSE(log.lines().empty());
}

TEST_F(PersistentConfigHandlerTest, ARefusedDocumentIsKeptAsideByteByByteAndStaysInPlace) {
  const std::string text("{\"params\": {\0\xff", 14);
  writeText(path, text);
  EXPECT_TRUE(PersistentConfigHandler::keepAside(path));
  EXPECT_EQ(readText(path), text);
  EXPECT_EQ(readText(path + ".refused"), text);
  EXPECT_EQ(folder.fileCount(), 2);
  EXPECT_EQ(log.count(LOG_ERR, "The configuration in " + path + " was refused, a copy is kept in " +
                                   path + ".refused\n"),
            1);
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(PersistentConfigHandlerTest, ARefusedDocumentOutlivesTheNextSave) {
  writeText(path, "{\"made by hand\"");
  EXPECT_TRUE(PersistentConfigHandler::keepAside(path));
  const JsonAutoPtr document(json_object());
  EXPECT_TRUE(PersistentConfigHandler::save(document.get(), path));
  EXPECT_EQ(readText(path), "{}");
  EXPECT_EQ(readText(path + ".refused"), "{\"made by hand\"");
}

TEST_F(PersistentConfigHandlerTest, TheDocumentRefusedLastIsTheOneThatIsKept) {
  writeText(path, "first");
  EXPECT_TRUE(PersistentConfigHandler::keepAside(path));
  writeText(path, "second");
  EXPECT_TRUE(PersistentConfigHandler::keepAside(path));
  EXPECT_EQ(readText(path + ".refused"), "second");
}

TEST_F(PersistentConfigHandlerTest, ACopyThatIsThereIsNotWrittenAgain) {
  writeText(path, "text");
  EXPECT_TRUE(PersistentConfigHandler::keepAside(path));
  const auto then = std::filesystem::file_time_type(std::chrono::seconds(1));
  std::filesystem::last_write_time(path + ".refused", then);
  EXPECT_TRUE(PersistentConfigHandler::keepAside(path));
  EXPECT_EQ(std::filesystem::last_write_time(path + ".refused"), then);
  EXPECT_EQ(log.lines().size(), 2U) << "it says so at every start";
}

TEST_F(PersistentConfigHandlerTest, ACopyThatCannotBeMadeIsLogged) {
  writeText(path, "text");
  std::filesystem::create_directory(path + ".refused");
  EXPECT_FALSE(PersistentConfigHandler::keepAside(path));
  EXPECT_FALSE(PersistentConfigHandler::keepAside(folder.path("missing.json")));
  EXPECT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(readText(path), "text");
}

TEST_F(PersistentConfigHandlerTest, TheStatusIsThatOfTheParams) {
  writeText(path, R"({"params": {"configurationStatus": 17}, "configurationStatus": 3})");
  EXPECT_EQ(PersistentConfigHandler::getConfigurationStatus(path), 17);
}

TEST_F(PersistentConfigHandlerTest, AStatusBeyond32BitsIsTheNearestThatFits) {
  for (const auto& [stored, status] :
       {std::pair{"2147483647", 2147483647}, std::pair{"2147483648", 2147483647},
        std::pair{"4294967297", 2147483647}, std::pair{"-2147483649", -2147483647 - 1},
        std::pair{"-4294967295", -2147483647 - 1}}) {
    writeText(path, std::string(R"({"params": {"configurationStatus": )") + stored + "}}");
    EXPECT_EQ(PersistentConfigHandler::getConfigurationStatus(path), status) << stored;
  }
}

TEST_F(PersistentConfigHandlerTest, AMissingStatusIsZero) {
  EXPECT_EQ(PersistentConfigHandler::getConfigurationStatus(path), 0) << "no file";
  for (const char* text :
       {"", "nonsense", "[]", "{}", R"({"params": 1})", R"({"params": {}})",
        R"({"configurationStatus": 3})", R"({"params": {"configurationStatus": "3"}})",
        R"({"params": {"configurationStatus": 3.5}})"}) {
    writeText(path, text);
    EXPECT_EQ(PersistentConfigHandler::getConfigurationStatus(path), 0) << text;
  }
}

}  // namespace
