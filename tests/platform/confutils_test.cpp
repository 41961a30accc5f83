#include "confutils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/glib_ptr.h"
#include "platform/file_calls.h"
#include "support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Confutils : public testing::Test {
 protected:
  Confutils() { path = folder / "settings.json"; }

  // The code of the error; nothing on success.
  std::optional<int> set(const fs::path& path, const char* contents, gssize length = -1) {
    ErrorSlot error;
    if (confutils_set_file_contents_with_sync(path.c_str(), contents, length, error.out())) {
      EXPECT_FALSE(error.isSet());
      return std::nullopt;
    }
    if (!error.isSet()) {
      ADD_FAILURE() << "failed without an error";
      return -1;
    }
    EXPECT_EQ(G_FILE_ERROR, error.get()->domain);
    message = error.message();
    return error.get()->code;
  }

  static std::string contents(const fs::path& path) { return readText(path); }

  static unsigned mode(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(0, stat(path.c_str(), &status));
    return status.st_mode & 07777;
  }

  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& entry : fs::directory_iterator(folder)) {
      result.push_back(entry.path().filename());
    }
    return result;
  }

  // Sets over an old file with a call that fails: the old file must stand alone and untouched.
  void expectOldFileStands(const std::string& call, int error, int code) {
    ASSERT_EQ(std::nullopt, set(path, "old"));
    {
      FileCalls calls;
      calls.failing = call;
      calls.error = error;
      EXPECT_EQ(code, set(path, "new"));
    }
    EXPECT_EQ("old", contents(path));
    EXPECT_THAT(names(), ElementsAre("settings.json"));
  }

  const TemporaryFolder temporary;
  const fs::path folder = temporary.get();
  fs::path path;
  std::string message;
};

TEST_F(Confutils, CreatesAFile) {
  EXPECT_EQ(std::nullopt, set(path, "{\"a\": 1}"));
  EXPECT_EQ("{\"a\": 1}", contents(path));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

TEST_F(Confutils, ReplacesLongerContents) {
  EXPECT_EQ(std::nullopt, set(path, "a long text that was there"));
  EXPECT_EQ(std::nullopt, set(path, "short"));
  EXPECT_EQ("short", contents(path));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

TEST_F(Confutils, LengthCutsTheText) {
  EXPECT_EQ(std::nullopt, set(path, "abcdef", 3));
  EXPECT_EQ("abc", contents(path));
  EXPECT_EQ(std::nullopt, set(path, "abcdef", 0));
  EXPECT_EQ("", contents(path));
}

TEST_F(Confutils, LengthMayPassAZero) {
  EXPECT_EQ(std::nullopt, set(path, "ab\0cd", 5));
  EXPECT_EQ(std::string("ab\0cd", 5), contents(path));
}

TEST_F(Confutils, EmptyText) {
  EXPECT_EQ(std::nullopt, set(path, ""));
  EXPECT_EQ("", contents(path));
}

TEST_F(Confutils, LargeText) {
  const std::string text(3'000'000, 'x');
  EXPECT_EQ(std::nullopt, set(path, text.c_str()));
  EXPECT_EQ(text, contents(path));
}

TEST_F(Confutils, RelativePathWithoutAFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(folder);
  EXPECT_EQ(std::nullopt, set("plain", "text"));
  fs::current_path(before);
  EXPECT_EQ("text", contents(folder / "plain"));
  EXPECT_THAT(names(), ElementsAre("plain"));
}

TEST_F(Confutils, ANewFileMayBeReadByAll) {
  const mode_t before = umask(077);
  EXPECT_EQ(std::nullopt, set(path, "text"));
  umask(before);
  EXPECT_EQ(0644u, mode(path));
}

TEST_F(Confutils, TheModeOfAnExistingFileIsKept) {
  for (const unsigned expected : {0600u, 0640u, 0666u, 0755u}) {
    ASSERT_EQ(std::nullopt, set(path, "old"));
    ASSERT_EQ(0, chmod(path.c_str(), expected));
    EXPECT_EQ(std::nullopt, set(path, "new"));
    EXPECT_EQ(expected, mode(path));
  }
}

TEST_F(Confutils, AReaderOfTheOldFileKeepsItsContents) {
  ASSERT_EQ(std::nullopt, set(path, "old"));
  std::ifstream reader(path);
  ASSERT_EQ(std::nullopt, set(path, "new"));
  std::string text;
  reader >> text;
  EXPECT_EQ("old", text);
}

TEST_F(Confutils, FlushesTheFileBeforeTheRenameAndTheFolderAfterIt) {
  FileCalls calls;
  EXPECT_EQ(std::nullopt, set(path, "text"));
  EXPECT_THAT(calls.log, ElementsAre("write", "flush file", "rename", "flush folder"));
}

TEST_F(Confutils, ShortAndInterruptedWritesAreContinued) {
  {
    FileCalls calls;
    calls.longestWrite = 4;
    calls.interruptions = 3;
    EXPECT_EQ(std::nullopt, set(path, "a text of several writes"));
  }
  EXPECT_EQ("a text of several writes", contents(path));
}

TEST_F(Confutils, AFullDiskLeavesTheOldFile) {
  expectOldFileStands("write", ENOSPC, G_FILE_ERROR_NOSPC);
  EXPECT_THAT(message, HasSubstr("Failed to write"));
}

TEST_F(Confutils, AFailedFlushLeavesTheOldFile) {
  expectOldFileStands("flush file", EIO, G_FILE_ERROR_IO);
}

TEST_F(Confutils, AFailedRenameLeavesTheOldFile) {
  expectOldFileStands("rename", EACCES, G_FILE_ERROR_ACCES);
}

TEST_F(Confutils, AFailedFlushOfTheFolderLeavesTheOldFile) {
  ASSERT_EQ(std::nullopt, set(path, "old"));
  ASSERT_EQ(0, chmod(path.c_str(), 0600));
  expectOldFileStands("flush folder", EIO, G_FILE_ERROR_IO);
  EXPECT_EQ(0600u, mode(path));
  EXPECT_THAT(message, HasSubstr("Failed to flush"));
}

TEST_F(Confutils, AFailedFlushOfTheFolderLeavesNoFileWhereThereWasNone) {
  {
    FileCalls calls;
    calls.failing = "flush folder";
    calls.error = EIO;
    EXPECT_EQ(G_FILE_ERROR_IO, set(path, "text"));
  }
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(Confutils, WhereNamesCannotBeExchangedTheFileIsReplaced) {
  ASSERT_EQ(std::nullopt, set(path, "old"));
  {
    FileCalls calls;
    calls.exchangesNames = false;
    EXPECT_EQ(std::nullopt, set(path, "new"));
  }
  EXPECT_EQ("new", contents(path));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

TEST_F(Confutils, WhereNamesCannotBeExchangedAFailedFlushOfTheFolderKeepsTheNewFile) {
  ASSERT_EQ(std::nullopt, set(path, "old"));
  {
    FileCalls calls;
    calls.exchangesNames = false;
    calls.failing = "flush folder";
    calls.error = EIO;
    EXPECT_EQ(G_FILE_ERROR_IO, set(path, "new"));
  }
  EXPECT_EQ("new", contents(path));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

TEST_F(Confutils, AMissingFolderIsAnError) {
  EXPECT_EQ(G_FILE_ERROR_NOENT, set(folder / "none" / "file", "text"));
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(Confutils, AFolderInThePlaceOfTheFileStays) {
  fs::create_directory(path);
  EXPECT_EQ(G_FILE_ERROR_ISDIR, set(path, "text"));
  EXPECT_TRUE(fs::is_directory(path));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

// A process that is killed while it writes leaves its temporary file.
TEST_F(Confutils, RemainsOfThoseWhoDiedAreRemoved) {
  for (const char* name : {".settings.json.aB3dE6", ".settings.json.zzzzzz"}) {
    std::ofstream(folder / name) << "half";
  }
  const std::vector<std::string> foreign{".settings.json.longer1", ".settings.json.",
                                         ".other.json.aB3dE6", "settings.json.aB3dE6"};
  for (const std::string& name : foreign) {
    std::ofstream(folder / name) << "foreign";
  }
  EXPECT_EQ(std::nullopt, set(path, "new"));
  std::vector<std::string> expected = foreign;
  expected.push_back("settings.json");
  EXPECT_THAT(names(), testing::UnorderedElementsAreArray(expected));
}

// None takes the file of another for the remains of the dead.
TEST_F(Confutils, WritersAtTheSameTimeAllSucceed) {
  constexpr int WRITERS = 4;
  constexpr int TIMES = 25;
  std::atomic<int> failures = 0;
  {
    std::vector<std::jthread> writers;
    for (int writer = 0; writer < WRITERS; ++writer) {
      writers.emplace_back([&, text = std::string(1000, static_cast<char>('a' + writer))] {
        for (int i = 0; i < TIMES; ++i) {
          failures += confutils_set_file_contents_with_sync(path.c_str(), text.c_str(), -1,
                                                            nullptr) == FALSE;
        }
      });
    }
  }
  EXPECT_EQ(0, failures);
  EXPECT_THAT(names(), ElementsAre("settings.json"));
  const std::string last = contents(path);
  EXPECT_EQ(std::string(1000, last.at(0)), last);
}

TEST_F(Confutils, NobodyHasToTakeTheError) {
  EXPECT_FALSE(confutils_set_file_contents_with_sync((folder / "none" / "file").c_str(), "text", -1,
                                                     nullptr));
}

TEST_F(Confutils, LeavesNoDescriptorOpen) {
  const auto open = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = open();
  EXPECT_EQ(std::nullopt, set(path, "text"));
  EXPECT_NE(std::nullopt, set(folder / "none" / "file", "text"));
  EXPECT_EQ(before, open());
}

}  // namespace
