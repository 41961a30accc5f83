#include "base/command_line.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

class CommandLineTest : public testing::Test {
 protected:
  void read(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "program");
    OptionText raw;
    const std::array entries{
        GOptionEntry{"name", 0, 0, G_OPTION_ARG_STRING, raw.out(), "A name", "NAME"},
        GOptionEntry{"count", 0, 0, G_OPTION_ARG_INT, &count, "A count", "N"},
        GOptionEntry{nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
    readOptions("Reads options.", entries, arguments);
    name = raw.get() != nullptr ? raw.get() : "";
  }

  // What the user is told; empty when there is nothing wrong.
  std::string complaint(const std::vector<std::string>& arguments) {
    try {
      read(arguments);
    } catch (const OptionError& error) {
      return error.what();
    }
    return "";
  }

  std::string name;
  int count = 5;
};

TEST_F(CommandLineTest, PutsWhatIsGivenIntoItsPlace) {
  read({"--name", "ab", "--count=7"});
  EXPECT_EQ(name, "ab");
  EXPECT_EQ(count, 7);
}

TEST_F(CommandLineTest, LeavesAloneWhatIsNotGiven) {
  read({});
  EXPECT_EQ(name, "");
  EXPECT_EQ(count, 5);
}

TEST_F(CommandLineTest, TellsWhatItDoesNotKnow) {
  EXPECT_EQ(complaint({"--colour", "red"}), "Unknown option --colour");
  EXPECT_EQ(complaint({"red"}), "Not an option: red");
  EXPECT_NE(complaint({"--count", "many"}), "");
}

TEST(RunProgramTest, WhatEndsItIsItsStatus) {
  EXPECT_EQ(7, runProgram([] { return 7; }));
  testing::internal::CaptureStderr();
  EXPECT_EQ(2, runProgram([]() -> int { throw OptionError("no such option"); }));
  EXPECT_EQ(1, runProgram([]() -> int { throw std::logic_error("no such thing"); }));
  EXPECT_EQ("no such option\nno such thing\n", testing::internal::GetCapturedStderr());
}

}  // namespace
