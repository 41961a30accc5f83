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
  EXPECT_FALSE(options.broker);
  EXPECT_EQ("web", options.folder.filename());
}

TEST_F(WebOptionsTest, EveryOptionIsRead) {
  const WebOptions options =
      parse({"--listen", "0.0.0.0", "--port", "81", "--user", "anna", "--password-file",
             passwordFile("secret word\r\nsecond line\n"), "--web", "w", "--mqtt", "broker:1884"});
  EXPECT_EQ("0.0.0.0", options.address);
  EXPECT_EQ(81, options.port);
  ASSERT_TRUE(options.user);
  EXPECT_EQ("anna", options.user->name);
  EXPECT_EQ("secret word", options.user->password);
  EXPECT_EQ("w", options.folder);
  ASSERT_TRUE(options.broker);
  EXPECT_EQ("broker", options.broker->host);
  EXPECT_EQ(1884, options.broker->port);
}

TEST_F(WebOptionsTest, LoopbackNeedsNoUser) {
  EXPECT_EQ("127.0.0.1", parse({"--listen", "localhost"}).address);
  EXPECT_EQ("127.0.0.5", parse({"--listen", "127.0.0.5"}).address);
  EXPECT_EQ("::1", parse({"--listen", "::1"}).address);
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

TEST_F(WebOptionsTest, BadValuesAreRefused) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--port", "65536"},
                                             {"--port", "-1"},
                                             {"--port", "x"},
                                             {"--port", ""},
                                             {"--listen", "camera.example"},
                                             {"--listen", ""},
                                             {"--mqtt", ""},
                                             {"--mqtt", ":1883"},
                                             {"--mqtt", "broker:"},
                                             {"--mqtt", "broker:0"},
                                             {"--mqtt", "broker:x"},
                                             {"--mqtt", "[::1"},
                                             {"--mqtt", "[]:1883"}}) {
    EXPECT_NE("no error", errorOf(arguments)) << arguments[0] << ' ' << arguments[1];
  }
}

TEST_F(WebOptionsTest, BrokersAddressMayBeOfAnyKind) {
  const std::tuple<const char*, const char*, int> cases[] = {{"broker", "broker", 1883},
                                                             {"10.0.0.1:2", "10.0.0.1", 2},
                                                             {"[::1]", "::1", 1883},
                                                             {"[::1]:65535", "::1", 65535},
                                                             {"fe80::1", "fe80::1", 1883}};
  for (const auto& [text, host, port] : cases) {
    const WebOptions options = parse({"--mqtt", text});
    ASSERT_TRUE(options.broker) << text;
    EXPECT_EQ(host, options.broker->host);
    EXPECT_EQ(port, options.broker->port);
  }
}

}  // namespace
}  // namespace device
