#include "web_server/web_options.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "app/options.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

class WebOptionsTest : public testing::Test {
 protected:
  WebOptions parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "virtual_device");
    return parseOptions(arguments).web;
  }

  std::string errorOf(const std::vector<std::string>& arguments) {
    try {
      parse(arguments);
    } catch (const OptionError& error) {
      return error.what();
    }
    return "no error";
  }

  std::string passwordFile(const std::string& text) {
    std::ofstream(folder / "password") << text;
    return folder / "password";
  }

  TemporaryFolder folder;
};

TEST_F(WebOptionsTest, DefaultsListenOnLoopbackForEverybody) {
  const WebOptions options = parse({});
  EXPECT_EQ("127.0.0.1", options.address);
  EXPECT_FALSE(options.port);
  EXPECT_FALSE(options.user);
  EXPECT_TRUE(options.broker.brokers.empty());
  EXPECT_EQ("web", options.folder.filename());
}

TEST_F(WebOptionsTest, EveryOptionIsRead) {
  const WebOptions options =
      parse({"--listen", "0.0.0.0", "--port", "81", "--user", "anna", "--password-file",
             passwordFile("secret word\r\nsecond line\n"), "--web", "w"});
  EXPECT_EQ("0.0.0.0", options.address);
  EXPECT_EQ(81, options.port);
  ASSERT_TRUE(options.user);
  EXPECT_EQ("anna", options.user->name);
  EXPECT_EQ("secret word", options.user->password);
  EXPECT_EQ("w", options.folder);
}

TEST_F(WebOptionsTest, LoopbackNeedsNoUser) {
  EXPECT_EQ("127.0.0.1", parse({"--listen", "localhost"}).address);
  EXPECT_EQ("127.0.0.5", parse({"--listen", "127.0.0.5"}).address);
  EXPECT_EQ("::1", parse({"--listen", "::1"}).address);
}

TEST_F(WebOptionsTest, EveryAddressIsToldFromOneOfThem) {
  for (const char* every : {"0.0.0.0", "::", "0::0"}) {
    EXPECT_TRUE(isEveryAddress(every)) << every;
  }
  for (const char* one : {"0.0.0.1", "127.0.0.1", "10.0.0.0", "::1", "every"}) {
    EXPECT_FALSE(isEveryAddress(one)) << one;
  }
}

TEST_F(WebOptionsTest, NetworkWithoutAUserIsRefused) {
  for (const std::string address : {"0.0.0.0", "::", "192.168.0.9", "128.0.0.1"}) {
    EXPECT_EQ("--listen " + address +
                  " opens the device to the network: it needs --user and --password-file",
              errorOf({"--listen", address}));
  }
}

TEST_F(WebOptionsTest, PasswordThatCannotBeReadIsRefused) {
  const std::string missing = folder / "none";
  EXPECT_EQ("--password-file: cannot read a password from " + missing,
            errorOf({"--user", "anna", "--password-file", missing}));
  EXPECT_NE("no error", errorOf({"--user", "anna", "--password-file", passwordFile("")}));
  EXPECT_NE("no error", errorOf({"--user", "anna", "--password-file", passwordFile("\nx")}));
  EXPECT_EQ("--user needs --password-file", errorOf({"--user", "anna"}));
  EXPECT_EQ("--password-file needs --user", errorOf({"--password-file", passwordFile("x")}));
}

TEST_F(WebOptionsTest, TokenForTheMetricsIsReadFromAFile) {
  EXPECT_FALSE(parse({}).metricsToken);
  EXPECT_EQ("word", parse({"--metrics-token-file", passwordFile("word\n")}).metricsToken);
  EXPECT_EQ("--metrics-token-file: cannot read a password from /none",
            errorOf({"--metrics-token-file", "/none"}));
}

TEST_F(WebOptionsTest, BadValuesAreRefused) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--port", "65536"},
                                             {"--port", "-1"},
                                             {"--port", "x"},
                                             {"--port", ""},
                                             {"--listen", "camera.example"},
                                             {"--listen", ""}}) {
    EXPECT_NE("no error", errorOf(arguments)) << arguments[0] << ' ' << arguments[1];
  }
}

}  // namespace
}  // namespace device
