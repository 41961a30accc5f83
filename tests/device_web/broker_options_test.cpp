#include "web_server/broker_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/options.h"
#include "certificates.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

using testing::ElementsAre;

class BrokerOptionsTest : public testing::Test {
 protected:
  static BrokerOptions parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "virtual_device");
    return parseOptions(arguments).web.broker;
  }

  // Of options beside a broker.
  static std::string errorOf(std::vector<std::string> arguments, bool broker = true) {
    if (broker) {
      arguments.insert(arguments.begin(), {"--mqtt", "broker"});
    }
    try {
      parse(arguments);
    } catch (const OptionError& error) {
      return error.what();
    }
    return "no error";
  }

  std::string write(const std::string& name, const std::string& text) {
    writeText(folder / name, text);
    return folder / name;
  }

  TemporaryFolder folder;
};

TEST_F(BrokerOptionsTest, NoneIsThereUnlessOneIsNamed) {
  const BrokerOptions options = parse({});
  EXPECT_TRUE(options.brokers.empty());
  EXPECT_EQ("", options.site);
  EXPECT_FALSE(options.login);
  EXPECT_FALSE(options.tls);
}

TEST_F(BrokerOptionsTest, AddressMayBeOfAnyKind) {
  const std::tuple<const char*, const char*, int> cases[] = {{"broker", "broker", 1883},
                                                             {"10.0.0.1:2", "10.0.0.1", 2},
                                                             {"[::1]", "::1", 1883},
                                                             {"[::1]:65535", "::1", 65535},
                                                             {"fe80::1", "fe80::1", 1883}};
  for (const auto& [text, host, port] : cases) {
    EXPECT_THAT(parse({"--mqtt", text}).brokers,
                ElementsAre(BrokerHosts{BrokerAddress{host, port}}))
        << text;
  }
}

TEST_F(BrokerOptionsTest, HostsOfOneBrokerAreAList) {
  EXPECT_THAT(parse({"--mqtt", "n1,n2:1884,[::1]:3,fe80::1"}).brokers,
              ElementsAre(BrokerHosts{{"n1", 1883}, {"n2", 1884}, {"::1", 3}, {"fe80::1", 1883}}));
}

TEST_F(BrokerOptionsTest, SeveralBrokersAreSeveralOptions) {
  EXPECT_THAT(parse({"--mqtt", "a1,a2", "--mqtt", "b"}).brokers,
              ElementsAre(BrokerHosts{{"a1", 1883}, {"a2", 1883}}, BrokerHosts{{"b", 1883}}));
}

TEST_F(BrokerOptionsTest, BadHostsAreRefused) {
  for (const std::string text : {"", ":1883", "broker:", "broker:0", "broker:x", "[::1", "[]:1883",
                                 "[::1]1883", ",", "a,", ",a", "a,,b", "a,b:0"}) {
    EXPECT_THAT(errorOf({"--mqtt", text}, false), testing::StartsWith("--mqtt is HOST")) << text;
  }
}

TEST_F(BrokerOptionsTest, HostThatIsNamedTwiceIsRefused) {
  EXPECT_EQ("--mqtt names a port 1883 twice", errorOf({"--mqtt", "a,b,a:1883"}, false));
  EXPECT_EQ("--mqtt names a port 1883 twice", errorOf({"--mqtt", "a", "--mqtt", "b,a"}, false));
  EXPECT_EQ("no error", errorOf({"--mqtt", "a", "--mqtt", "a:1884"}, false));
}

TEST_F(BrokerOptionsTest, SiteIsALevelOfATopicThatEveryBrokerTakes) {
  const std::string longest = "ABCDEFGHIJKLMNOPQRSTUVWXYZ_-0189";
  ASSERT_EQ(32u, longest.size());
  for (const std::string& name : {std::string("a"), std::string("-"), longest}) {
    EXPECT_EQ(name, parse({"--mqtt", "broker", "--site", name}).site);
  }
  for (const std::string& name :
       {std::string(""), std::string("a.b"), std::string("a b"), std::string("a/b"),
        std::string("+"), std::string("#"), longest + "x"}) {
    EXPECT_EQ("--site is a name of 1 to 32 letters, digits, _ and -, not \"" + name + "\"",
              errorOf({"--site", name}));
  }
  EXPECT_NE("no error", errorOf({"--site", "\xc3\xa4"}));
}

TEST_F(BrokerOptionsTest, TopicsOfASiteStandUnderItsName) {
  EXPECT_EQ("sites/north/", topicPrefix("north"));
  EXPECT_EQ("", topicPrefix(""));
}

TEST_F(BrokerOptionsTest, UserHasAPasswordInAFile) {
  const std::string file = write("password", "secret word\r\nmore\n");
  const BrokerOptions options =
      parse({"--mqtt", "broker", "--mqtt-user", "north", "--mqtt-password-file", file});
  ASSERT_TRUE(options.login);
  EXPECT_EQ("north", options.login->user);
  EXPECT_EQ("secret word", options.login->password);
}

TEST_F(BrokerOptionsTest, LoginThatCannotWorkIsRefused) {
  const std::string missing = folder / "none";
  const std::string empty = write("empty", "\n");
  EXPECT_EQ("--mqtt-user needs --mqtt-password-file", errorOf({"--mqtt-user", "north"}));
  EXPECT_EQ("--mqtt-password-file needs --mqtt-user", errorOf({"--mqtt-password-file", empty}));
  EXPECT_EQ("--mqtt-password-file: cannot read a password from " + missing,
            errorOf({"--mqtt-user", "north", "--mqtt-password-file", missing}));
  EXPECT_EQ("--mqtt-password-file: the first line of " + empty + " is empty",
            errorOf({"--mqtt-user", "north", "--mqtt-password-file", empty}));
  EXPECT_EQ("--mqtt-user is a name",
            errorOf({"--mqtt-user", "", "--mqtt-password-file", write("word", "x")}));
}

TEST_F(BrokerOptionsTest, DiscoveryIsATopicsBeginningAndNeedsASite) {
  EXPECT_EQ("home/assistant",
            parse({"--mqtt", "b", "--site", "n", "--mqtt-discovery", "home/assistant"}).discovery);
  EXPECT_EQ("", parse({"--mqtt", "b", "--site", "n"}).discovery);
  EXPECT_EQ("--mqtt-discovery needs --site", errorOf({"--mqtt-discovery", "homeassistant"}));
  for (const std::string prefix : {"", "a/", "/a", "a+", "#"}) {
    EXPECT_EQ("--mqtt-discovery is the beginning of a topic, not \"" + prefix + "\"",
              errorOf({"--site", "n", "--mqtt-discovery", prefix}));
  }
}

TEST_F(BrokerOptionsTest, StateIsAFolderWithOrWithoutABroker) {
  EXPECT_EQ("kept", parse({"--state", "kept"}).state);
  EXPECT_EQ("", parse({"--mqtt", "broker"}).state);
}

TEST_F(BrokerOptionsTest, WhatIsForABrokerNeedsOne) {
  for (const std::string option : {"--site", "--mqtt-user", "--mqtt-password-file", "--mqtt-ca",
                                   "--mqtt-cert", "--mqtt-key", "--mqtt-discovery"}) {
    EXPECT_EQ(option + " needs --mqtt", errorOf({option, "x"}, false));
  }
}

class BrokerTlsOptionsTest : public BrokerOptionsTest {
 protected:
  void SetUp() override {
    certificates.make("ca", "device");
    certificates.make("ca", "other");
  }

  std::string ca() const { return certificates.file("ca.crt"); }

  std::string errorOfPair(const std::string& certificate, const std::string& key) const {
    return errorOf({"--mqtt-ca", ca(), "--mqtt-cert", certificate, "--mqtt-key", key});
  }

  Certificates certificates;
};

TEST_F(BrokerTlsOptionsTest, FilesAreReadAndThePortIsAnother) {
  const BrokerOptions options =
      parse({"--mqtt", "a,b:1", "--mqtt-ca", ca(), "--mqtt-cert", certificates.file("device.crt"),
             "--mqtt-key", certificates.file("device.key")});
  ASSERT_TRUE(options.tls);
  EXPECT_EQ(ca(), options.tls->ca);
  EXPECT_EQ(certificates.file("device.crt"), options.tls->certificate);
  EXPECT_EQ(certificates.file("device.key"), options.tls->key);
  EXPECT_THAT(options.brokers, ElementsAre(BrokerHosts{{"a", 8883}, {"b", 1}}));
}

TEST_F(BrokerTlsOptionsTest, AuthorityAloneWillDo) {
  const BrokerOptions options = parse({"--mqtt", "a", "--mqtt-ca", ca()});
  ASSERT_TRUE(options.tls);
  EXPECT_EQ("", options.tls->certificate);
}

TEST_F(BrokerTlsOptionsTest, HalfAPairIsRefused) {
  const std::string file = certificates.file("device.crt");
  EXPECT_EQ("--mqtt-cert needs --mqtt-key", errorOf({"--mqtt-ca", ca(), "--mqtt-cert", file}));
  EXPECT_EQ("--mqtt-key needs --mqtt-cert", errorOf({"--mqtt-ca", ca(), "--mqtt-key", file}));
  EXPECT_EQ("--mqtt-cert needs --mqtt-ca", errorOf({"--mqtt-cert", file, "--mqtt-key", file}));
}

TEST_F(BrokerTlsOptionsTest, FilesThatCannotWorkAreRefused) {
  const std::string missing = folder / "none";
  const std::string text = write("text", "no certificate\n");
  const std::string certificate = certificates.file("device.crt");
  const std::string key = certificates.file("device.key");
  EXPECT_EQ("--mqtt-ca: cannot read " + missing, errorOf({"--mqtt-ca", missing}));
  EXPECT_EQ("--mqtt-ca: no certificate in " + text, errorOf({"--mqtt-ca", text}));
  EXPECT_EQ("--mqtt-cert: cannot read " + missing, errorOfPair(missing, key));
  EXPECT_EQ("--mqtt-cert: no certificate in " + text, errorOfPair(text, key));
  EXPECT_EQ("--mqtt-key: cannot read " + missing, errorOfPair(certificate, missing));
  EXPECT_EQ("--mqtt-key: no key, or an encrypted one, in " + text, errorOfPair(certificate, text));
}

TEST_F(BrokerTlsOptionsTest, KeyOfAnotherCertificateIsRefused) {
  const std::string certificate = certificates.file("device.crt");
  const std::string key = certificates.file("other.key");
  EXPECT_EQ("--mqtt-key: " + key + " is not the key of " + certificate,
            errorOfPair(certificate, key));
}

TEST_F(BrokerTlsOptionsTest, EncryptedKeyIsRefused) {
  certificates.encrypt("device", "secret.key");
  const std::string key = certificates.file("secret.key");
  EXPECT_EQ("--mqtt-key: no key, or an encrypted one, in " + key,
            errorOfPair(certificates.file("device.crt"), key));
}

}  // namespace
}  // namespace device
