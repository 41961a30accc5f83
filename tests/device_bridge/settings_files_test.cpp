#include "bridge/settings_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/temporary_folder.h"

namespace device::bridge {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void addHead(json_t* root) {
  json_object_set_new(root, "head",
                      json_pack("{s:s, s:s, s:[f, f]}", "address", "http://a/", "login", "mast",
                                "field_angles", 2.5, 63.4));
}

class SettingsFilesTest : public testing::Test {
 protected:
  std::filesystem::path at(const char* name) const { return folder.get() / name; }
  SettingsFiles open() const { return {at("cameras.json"), at("credentials.json")}; }

  TemporaryFolder folder;
  const Credentials mast{{"mast", {"anna", "secret word"}}};
};

TEST_F(SettingsFilesTest, FilesThatAreNotThereAreEmpty) {
  const SettingsFiles files = open();
  EXPECT_EQ("The head is not set up", files.getSettings().whatIsMissing());
  EXPECT_TRUE(files.getCredentials().empty());
}

TEST_F(SettingsFilesTest, WhatIsChangedIsThereAtTheNextStart) {
  SettingsFiles files = open();
  files.change(addHead, mast);
  EXPECT_EQ("No camera is set up", files.getSettings().whatIsMissing());
  const SettingsFiles next = open();
  EXPECT_EQ("http://a/", next.getSettings().head.address.device);
  EXPECT_EQ("secret word", next.getCredentials().at("mast").password);
}

TEST_F(SettingsFilesTest, PasswordsAreInAFileOfTheOwnerAloneAndInNoOther) {
  open().change(addHead, mast);
  struct stat status {};
  ASSERT_EQ(0, stat(at("credentials.json").c_str(), &status));
  EXPECT_EQ(0600U, status.st_mode & 0777U);
  EXPECT_THAT(contentOf(at("cameras.json")), Not(HasSubstr("secret")));
}

TEST_F(SettingsFilesTest, FileThatWasOpenToOthersIsNotAfterwards) {
  std::ofstream(at("credentials.json")) << "{}";
  chmod(at("credentials.json").c_str(), 0600);
  SettingsFiles files = open();
  chmod(at("credentials.json").c_str(), 0644);
  files.change(addHead, mast);
  struct stat status {};
  ASSERT_EQ(0, stat(at("credentials.json").c_str(), &status));
  EXPECT_EQ(0600U, status.st_mode & 0777U);
}

TEST_F(SettingsFilesTest, WhatCannotBeUsedChangesNothing) {
  SettingsFiles files = open();
  files.change(addHead, mast);
  const std::string before = contentOf(at("cameras.json"));
  const auto spoil = [](json_t* root) { json_object_set_new(root, "mast_height", json_real(0)); };
  EXPECT_THROW(files.change(spoil, {{"other", {"a", "b"}}}), SettingsError);
  EXPECT_EQ(before, contentOf(at("cameras.json")));
  EXPECT_FALSE(files.getCredentials().contains("other"));
  EXPECT_EQ(nullptr, json_object_get(files.getJson(), "mast_height"));
}

TEST_F(SettingsFilesTest, LoginThatIsNotThereIsRefused) {
  SettingsFiles files = open();
  EXPECT_THROW(files.change(addHead), SettingsError);
  EXPECT_FALSE(std::filesystem::exists(at("cameras.json")));
}

TEST_F(SettingsFilesTest, FolderThatCannotBeWrittenIsToldAndChangesNothing) {
  SettingsFiles files(at("none") / "cameras.json", at("credentials.json"));
  try {
    files.change(addHead, mast);
    FAIL() << "there is no such folder";
  } catch (const SettingsError& error) {
    EXPECT_THAT(error.what(), HasSubstr("Cannot write"));
    EXPECT_THAT(error.what(), Not(HasSubstr("secret")));
  }
  EXPECT_FALSE(files.getSettings().hasHead());
  EXPECT_FALSE(std::filesystem::exists(at("credentials.json")));
}

TEST_F(SettingsFilesTest, PasswordIsNotKeptWhenTheSettingsCannotBeWritten) {
  std::filesystem::create_directory(at("none"));
  SettingsFiles files(at("none") / "cameras.json", at("credentials.json"));
  files.change(addHead, mast);
  const std::string before = contentOf(at("credentials.json"));
  std::filesystem::remove_all(at("none"));
  const Credentials others{{"mast", {"anna", "another word"}}, {"gate", {"bob", "third word"}}};
  EXPECT_THROW(files.change(addHead, others), SettingsError);
  EXPECT_EQ(before, contentOf(at("credentials.json")));
  EXPECT_EQ("secret word", files.getCredentials().at("mast").password);
  EXPECT_FALSE(files.getCredentials().contains("gate"));
}

TEST_F(SettingsFilesTest, NothingIsLeftBesideTheFiles) {
  open().change(addHead, mast);
  const std::filesystem::directory_iterator all(folder.get());
  EXPECT_EQ(2, std::distance(begin(all), end(all)));
}

}  // namespace
}  // namespace device::bridge
