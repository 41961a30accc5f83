#include "app/options.h"

#include <gtest/gtest.h>

namespace device {
namespace {

Options parse(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "virtual_device");
  return parseOptions(arguments);
}

TEST(OptionsTest, DefaultsRunWithoutEndAndWithoutDaemon) {
  const Options options = parse({});
  EXPECT_EQ("default", options.model);
  EXPECT_EQ("models", options.models.filename());
  EXPECT_FALSE(options.tracks);
  EXPECT_EQ("", options.transport);
  EXPECT_EQ("predictive", options.following);
  EXPECT_EQ(0, options.duration);
  EXPECT_EQ(1u, options.seed);
  EXPECT_FALSE(options.report);
  EXPECT_FALSE(options.scoreFrom);
  EXPECT_EQ("", options.daemon);
  EXPECT_FALSE(options.restartDaemon);
  EXPECT_FALSE(options.headBoot);
  EXPECT_EQ(10, options.framesPerSecond);
  EXPECT_FALSE(options.quiet);
  EXPECT_TRUE(options.log);
}

TEST(OptionsTest, TheWayOfFollowingIsOneOfTwo) {
  EXPECT_EQ("specified", parse({"--following", "specified"}).following);
  EXPECT_EQ("predictive", parse({"--following", "predictive"}).following);
  EXPECT_THROW(parse({"--following", "closely"}), OptionError);
}

TEST(OptionsTest, EveryOptionIsRead) {
  const Options options = parse({"--model",     "k47",
                                 "--models",    "m",
                                 "--tracks",    "t.csv",
                                 "--scene",     "crowd",
                                 "--transport", "module",
                                 "--duration",  "1.5",
                                 "--seed",      "7",
                                 "--report",    "r",
                                 "--daemon",    "d",
                                 "--head-boot", "0",
                                 "--fps",       "25",
                                 "--quiet",     "--restart-daemon",
                                 "--no-log",    "--score-from",
                                 "40"});
  EXPECT_EQ("k47", options.model);
  EXPECT_EQ("m", options.models);
  EXPECT_EQ("t.csv", options.tracks);
  EXPECT_EQ("crowd", options.scene);
  EXPECT_EQ("module", options.transport);
  EXPECT_EQ(1.5, options.duration);
  EXPECT_EQ(7u, options.seed);
  EXPECT_EQ("r", options.report);
  EXPECT_EQ("d", options.daemon);
  EXPECT_EQ(40.0, options.scoreFrom);
  EXPECT_TRUE(options.restartDaemon);
  EXPECT_EQ(0.0, options.headBoot);
  EXPECT_EQ(25, options.framesPerSecond);
  EXPECT_TRUE(options.quiet);
  EXPECT_FALSE(options.log);
}

TEST(OptionsTest, BadOptionsAreRefusedWithAWord) {
  const std::vector<std::vector<std::string>> cases = {{"--none"},
                                                       {"word"},
                                                       {"--transport", "pigeon"},
                                                       {"--scene", "moon"},
                                                       {"--duration", "-1"},
                                                       {"--duration", "x"},
                                                       {"--seed", "-1"},
                                                       {"--fps", "0"},
                                                       {"--fps", "101"},
                                                       {"--model"},
                                                       {"--duration", "nan"},
                                                       {"--score-from", "inf"}};
  for (const auto& arguments : cases) {
    try {
      parse(arguments);
      ADD_FAILURE() << arguments[0];
    } catch (const OptionError& error) {
      EXPECT_STRNE("", error.what());
    }
  }
}

}  // namespace
}  // namespace device
