#include "onvif_server/onvif_options.h"

#include <gtest/gtest.h>

#include <fstream>

#include "app/options.h"
#include "support/temporary_folder.h"

namespace device::onvif {
namespace {

class OnvifOptionsTest : public testing::Test {
 protected:
  static std::optional<OnvifOptions> parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "virtual_device");
    return parseOptions(arguments).onvif;
  }

  static std::string errorOf(const std::vector<std::string>& arguments) {
    try {
      parse(arguments);
    } catch (const OptionError& error) {
      return error.what();
    }
    return "no error";
  }

  std::string passwordFile() {
    std::ofstream(folder / "password") << "secret word\n";
    return folder / "password";
  }

  TemporaryFolder folder;
};

TEST_F(OnvifOptionsTest, DeviceIsNoOnvifCameraUnlessItIsAskedFor) {
  EXPECT_FALSE(parse({}));
}

TEST_F(OnvifOptionsTest, CameraIsOnLoopbackForEverybody) {
  const auto options = parse({"--onvif", "8081"});
  ASSERT_TRUE(options);
  EXPECT_EQ("127.0.0.1", options->address);
  EXPECT_EQ(8081, options->port);
  EXPECT_FALSE(options->user);
}

TEST_F(OnvifOptionsTest, EveryOptionIsReadBesideThoseOfTheWebServer) {
  const auto options = parse({"--onvif", "0", "--onvif-listen", "0.0.0.0", "--onvif-user", "anna",
                              "--onvif-password-file", passwordFile(), "--port", "81"});
  EXPECT_EQ("0.0.0.0", options->address);
  EXPECT_EQ(0, options->port);
  EXPECT_EQ("anna", options->user->name);
  EXPECT_EQ("secret word", options->user->password);
}

TEST_F(OnvifOptionsTest, CameraDoesRightUnlessFaultsAreNamed) {
  EXPECT_FALSE(parse({"--onvif", "0"})->faults);
  EXPECT_EQ("head:no-stop", parse({"--onvif", "0", "--onvif-faults", "head:no-stop"})->faults);
}

TEST_F(OnvifOptionsTest, NetworkNeedsAUser) {
  EXPECT_EQ(
      "--onvif-listen 0.0.0.0 opens the device to the network: it needs --onvif-user and "
      "--onvif-password-file",
      errorOf({"--onvif", "0", "--onvif-listen", "0.0.0.0"}));
}

TEST_F(OnvifOptionsTest, WhatCannotBeUsedIsToldByItsOwnName) {
  EXPECT_EQ("--onvif is a number from 0 to 65535", errorOf({"--onvif", "x"}));
  EXPECT_EQ("--onvif-listen is an IP address, not here",
            errorOf({"--onvif", "0", "--onvif-listen", "here"}));
  EXPECT_EQ("--onvif-user needs --onvif-password-file",
            errorOf({"--onvif", "0", "--onvif-user", "anna"}));
  EXPECT_EQ("--onvif-listen, --onvif-user, --onvif-password-file and --onvif-faults need --onvif",
            errorOf({"--onvif-user", "anna"}));
  EXPECT_NE("no error", errorOf({"--onvif-faults", "head:no-stop"}));
  EXPECT_NE("no error", errorOf({"--onvif-listen", "127.0.0.1"}));
  EXPECT_NE("no error", errorOf({"--onvif-password-file", passwordFile()}));
}

}  // namespace
}  // namespace device::onvif
