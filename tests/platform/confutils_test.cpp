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

#include "platform/file_calls.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Confutils : public testing::Test {
 protected:
  Confutils() {
    std::string name = (fs::temp_directory_path() / "confutils.XXXXXX").string();
    folder_ = mkdtemp(name.data());
    path_ = folder_ / "settings.json";
  }
  ~Confutils() override { fs::remove_all(folder_); }

  // The code of the error; nothing on success.
  std::optional<int> set(const fs::path& path, const char* contents, gssize length = -1) {
    GError* error = nullptr;
    if (confutils_set_file_contents_with_sync(path.c_str(), contents, length, &error)) {
      EXPECT_EQ(nullptr, error);
      return std::nullopt;
    }
    if (error == nullptr) {
      ADD_FAILURE() << "failed without an error";
      return -1;
    }
    EXPECT_EQ(G_FILE_ERROR, error->domain);
    message_ = error->message;
    const int code = error->code;
    g_error_free(error);
    return code;
  }

  static std::string contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  static unsigned mode(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(0, stat(path.c_str(), &status));
    return status.st_mode & 07777;
  }

  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      result.push_back(entry.path().filename());
    }
    return result;
  }

  // Sets over an old file with a call that fails: the old file must stand alone and untouched.
  void expectOldFileStands(const std::string& call, int error, int code) {
    ASSERT_EQ(std::nullopt, set(path_, "old"));
    {
      FileCalls calls;
      calls.failing = call;
      calls.error = error;
      EXPECT_EQ(code, set(path_, "new"));
    }
    EXPECT_EQ("old", contents(path_));
    EXPECT_THAT(names(), ElementsAre("settings.json"));
  }

  fs::path folder_;
  fs::path path_;
  std::string message_;
};

TEST_F(Confutils, CreatesAFile) {
  EXPECT_EQ(std::nullopt, set(path_, "{\"a\": 1}"));
  EXPECT_EQ("{\"a\": 1}", contents(path_));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

TEST_F(Confutils, ReplacesLongerContents) {
  EXPECT_EQ(std::nullopt, set(path_, "a long text that was there"));
  EXPECT_EQ(std::nullopt, set(path_, "short"));
  EXPECT_EQ("short", contents(path_));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

TEST_F(Confutils, LengthCutsTheText) {
  EXPECT_EQ(std::nullopt, set(path_, "abcdef", 3));
  EXPECT_EQ("abc", contents(path_));
  EXPECT_EQ(std::nullopt, set(path_, "abcdef", 0));
  EXPECT_EQ("", contents(path_));
}

TEST_F(Confutils, LengthMayPassAZero) {
  EXPECT_EQ(std::nullopt, set(path_, "ab\0cd", 5));
  EXPECT_EQ(std::string("ab\0cd", 5), contents(path_));
}

TEST_F(Confutils, EmptyText) {
  EXPECT_EQ(std::nullopt, set(path_, ""));
  EXPECT_EQ("", contents(path_));
}

TEST_F(Confutils, LargeText) {
  const std::string text(3'000'000, 'x');
  EXPECT_EQ(std::nullopt, set(path_, text.c_str()));
  EXPECT_EQ(text, contents(path_));
}

TEST_F(Confutils, RelativePathWithoutAFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_);
  EXPECT_EQ(std::nullopt, set("plain", "text"));
  fs::current_path(before);
  EXPECT_EQ("text", contents(folder_ / "plain"));
  EXPECT_THAT(names(), ElementsAre("plain"));
}

TEST_F(Confutils, ANewFileMayBeReadByAll) {
  const mode_t before = umask(077);
  EXPECT_EQ(std::nullopt, set(path_, "text"));
  umask(before);
  EXPECT_EQ(0644u, mode(path_));
}

TEST_F(Confutils, TheModeOfAnExistingFileIsKept) {
  for (const unsigned expected : {0600u, 0640u, 0666u, 0755u}) {
    ASSERT_EQ(std::nullopt, set(path_, "old"));
    ASSERT_EQ(0, chmod(path_.c_str(), expected));
    EXPECT_EQ(std::nullopt, set(path_, "new"));
    EXPECT_EQ(expected, mode(path_));
  }
}

TEST_F(Confutils, AReaderOfTheOldFileKeepsItsContents) {
  ASSERT_EQ(std::nullopt, set(path_, "old"));
  std::ifstream reader(path_);
  ASSERT_EQ(std::nullopt, set(path_, "new"));
  std::string text;
  reader >> text;
  EXPECT_EQ("old", text);
}

TEST_F(Confutils, FlushesTheFileBeforeTheRenameAndTheFolderAfterIt) {
  FileCalls calls;
  EXPECT_EQ(std::nullopt, set(path_, "text"));
  EXPECT_THAT(calls.log, ElementsAre("write", "flush file", "rename", "flush folder"));
}

TEST_F(Confutils, ShortAndInterruptedWritesAreContinued) {
  {
    FileCalls calls;
    calls.longestWrite = 4;
    calls.interruptions = 3;
    EXPECT_EQ(std::nullopt, set(path_, "a text of several writes"));
  }
  EXPECT_EQ("a text of several writes", contents(path_));
}

TEST_F(Confutils, AFullDiskLeavesTheOldFile) {
  expectOldFileStands("write", ENOSPC, G_FILE_ERROR_NOSPC);
  EXPECT_THAT(message_, HasSubstr("Failed to write"));
}

TEST_F(Confutils, AFailedFlushLeavesTheOldFile) {
  expectOldFileStands("flush file", EIO, G_FILE_ERROR_IO);
}

TEST_F(Confutils, AFailedRenameLeavesTheOldFile) {
  expectOldFileStands("rename", EACCES, G_FILE_ERROR_ACCES);
}

TEST_F(Confutils, AFailedFlushOfTheFolderLeavesTheOldFile) {
  ASSERT_EQ(std::nullopt, set(path_, "old"));
  ASSERT_EQ(0, chmod(path_.c_str(), 0600));
  expectOldFileStands("flush folder", EIO, G_FILE_ERROR_IO);
  EXPECT_EQ(0600u, mode(path_));
  EXPECT_THAT(message_, HasSubstr("Failed to flush"));
}

TEST_F(Confutils, AFailedFlushOfTheFolderLeavesNoFileWhereThereWasNone) {
  {
    FileCalls calls;
    calls.failing = "flush folder";
    calls.error = EIO;
    EXPECT_EQ(G_FILE_ERROR_IO, set(path_, "text"));
  }
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(Confutils, WhereNamesCannotBeExchangedTheFileIsReplaced) {
  ASSERT_EQ(std::nullopt, set(path_, "old"));
  {
    FileCalls calls;
    calls.exchangesNames = false;
    EXPECT_EQ(std::nullopt, set(path_, "new"));
  }
  EXPECT_EQ("new", contents(path_));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

TEST_F(Confutils, WhereNamesCannotBeExchangedAFailedFlushOfTheFolderKeepsTheNewFile) {
  ASSERT_EQ(std::nullopt, set(path_, "old"));
  {
    FileCalls calls;
    calls.exchangesNames = false;
    calls.failing = "flush folder";
    calls.error = EIO;
    EXPECT_EQ(G_FILE_ERROR_IO, set(path_, "new"));
  }
  EXPECT_EQ("new", contents(path_));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

TEST_F(Confutils, AMissingFolderIsAnError) {
  EXPECT_EQ(G_FILE_ERROR_NOENT, set(folder_ / "none" / "file", "text"));
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(Confutils, AFolderInThePlaceOfTheFileStays) {
  fs::create_directory(path_);
  EXPECT_EQ(G_FILE_ERROR_ISDIR, set(path_, "text"));
  EXPECT_TRUE(fs::is_directory(path_));
  EXPECT_THAT(names(), ElementsAre("settings.json"));
}

// A process that is killed while it writes leaves its temporary file.
TEST_F(Confutils, RemainsOfThoseWhoDiedAreRemoved) {
  for (const char* name : {".settings.json.aB3dE6", ".settings.json.zzzzzz"}) {
    std::ofstream(folder_ / name) << "half";
  }
  const std::vector<std::string> foreign{".settings.json.longer1", ".settings.json.",
                                         ".other.json.aB3dE6", "settings.json.aB3dE6"};
  for (const std::string& name : foreign) std::ofstream(folder_ / name) << "foreign";
  EXPECT_EQ(std::nullopt, set(path_, "new"));
  std::vector<std::string> expected = foreign;
  expected.push_back("settings.json");
  EXPECT_THAT(names(), testing::UnorderedElementsAreArray(expected));
}

// None takes the file of another for the remains of the dead.
TEST_F(Confutils, WritersAtTheSameTimeAllSucceed) {
  constexpr int kWriters = 4;
  constexpr int kTimes = 25;
  std::atomic<int> failures = 0;
  {
    std::vector<std::jthread> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
      writers.emplace_back([&, text = std::string(1000, static_cast<char>('a' + writer))] {
        for (int i = 0; i < kTimes; ++i) {
          failures += confutils_set_file_contents_with_sync(path_.c_str(), text.c_str(), -1,
                                                            nullptr) == FALSE;
        }
      });
    }
  }
  EXPECT_EQ(0, failures);
  EXPECT_THAT(names(), ElementsAre("settings.json"));
  const std::string last = contents(path_);
  EXPECT_EQ(std::string(1000, last.at(0)), last);
}

TEST_F(Confutils, NobodyHasToTakeTheError) {
  EXPECT_FALSE(confutils_set_file_contents_with_sync((folder_ / "none" / "file").c_str(), "text",
                                                     -1, nullptr));
}

TEST_F(Confutils, LeavesNoDescriptorOpen) {
  const auto open = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = open();
  EXPECT_EQ(std::nullopt, set(path_, "text"));
  EXPECT_NE(std::nullopt, set(folder_ / "none" / "file", "text"));
  EXPECT_EQ(before, open());
}

}  // namespace
