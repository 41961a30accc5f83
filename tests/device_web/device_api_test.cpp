#include "web_server/device_api.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace device {
namespace {

class DeviceApiTest : public testing::Test {
 protected:
  std::string ask(const std::string& method, const std::string& params = "") {
    return api.answer(R"({"apiVersion":"1.0","context":"c","method":")" + method + "\"" +
                      (params.empty() ? "" : ",\"params\":" + params) + "}");
  }

  // The code of a refusal, empty for success.
  static std::string codeOf(const std::string& answer) {
    const std::size_t at = answer.find(R"("code":")");
    return at == std::string::npos ? "" : answer.substr(at + 8, 4);
  }

  std::string parameter(const char* name) const { return store.get(name).value_or("none"); }

  ParameterStore store{
      {{"root.SentrelVideo.Following", "predictive"}, {"root.SentrelVideo.Identify", "0"}}};
  int changes = 0;
  DeviceApi api{store, [this] { ++changes; }};
};

TEST_F(DeviceApiTest, TellsAndChangesTheWayOfFollowing) {
  EXPECT_EQ(ask("getDeviceSettings"),
            R"({"apiVersion":"1.0","context":"c","method":"getDeviceSettings",)"
            R"("data":{"following":"predictive"}})");
  EXPECT_EQ(ask("setDeviceSettings", R"({"following":"specified"})"),
            R"({"apiVersion":"1.0","context":"c","method":"setDeviceSettings","data":{}})");
  EXPECT_EQ(parameter("root.SentrelVideo.Following"), "specified");
  EXPECT_EQ(changes, 1);
  EXPECT_NE(ask("getDeviceSettings").find(R"("following":"specified")"), std::string::npos);
  EXPECT_EQ(codeOf(ask("setDeviceSettings", R"({"following":"predictive"})")), "");
  EXPECT_EQ(parameter("root.SentrelVideo.Following"), "predictive");
}

TEST_F(DeviceApiTest, DeviceThatKeepsTheWayOfFollowingSetsItItself) {
  std::vector<std::string> kept;
  DeviceApi keeping(
      store, [this] { ++changes; },
      [&](const std::string& way) {
        if (!kept.empty()) {
          throw std::runtime_error("Cannot write cameras.json");
        }
        kept.push_back(way);
        return std::string();
      });
  const std::string request =
      R"({"apiVersion":"1.0","method":"setDeviceSettings","params":{"following":"specified"}})";
  EXPECT_EQ(codeOf(keeping.answer(request)), "");
  EXPECT_EQ(kept, std::vector<std::string>{"specified"});
  EXPECT_EQ(parameter("root.SentrelVideo.Following"), "predictive") << "nobody else has";
  EXPECT_EQ(changes, 1);
  const std::string refused = keeping.answer(request);
  EXPECT_EQ(codeOf(refused), "1000");
  EXPECT_NE(refused.find("Cannot write cameras.json"), std::string::npos);
  EXPECT_EQ(changes, 1);
}

TEST_F(DeviceApiTest, WhatIsToBeDoneYetIsTold) {
  DeviceApi keeping(
      store, [this] { ++changes; }, [](const std::string&) { return std::string("Start it"); });
  const std::string told = keeping.answer(
      R"({"apiVersion":"1.0","method":"setDeviceSettings","params":{"following":"specified"}})");
  EXPECT_NE(told.find(R"("data":{"notice":"Start it"})"), std::string::npos) << told;
  EXPECT_EQ(changes, 1) << "it is kept";
}

TEST_F(DeviceApiTest, AnyOtherWayIsTheSpecifiedOne) {
  store.set("root.SentrelVideo.Following", "something");
  EXPECT_NE(ask("getDeviceSettings").find(R"("following":"specified")"), std::string::npos);
}

TEST_F(DeviceApiTest, EachWishToIdentifyIsAnotherMark) {
  EXPECT_EQ(codeOf(ask("identifyHead")), "");
  EXPECT_EQ(parameter("root.SentrelVideo.Identify"), "1");
  EXPECT_EQ(codeOf(ask("identifyHead")), "");
  EXPECT_EQ(parameter("root.SentrelVideo.Identify"), "2");
  store.set("root.SentrelVideo.Identify", "by hand");
  EXPECT_EQ(codeOf(ask("identifyHead")), "");
  EXPECT_EQ(parameter("root.SentrelVideo.Identify"), "1");
  EXPECT_EQ(changes, 3);
}

TEST_F(DeviceApiTest, WhatIsRefusedChangesNothing) {
  EXPECT_EQ(codeOf(api.answer("")), "2001");
  EXPECT_EQ(codeOf(api.answer("[1]")), "2001");
  EXPECT_EQ(codeOf(api.answer(R"({"method":"identifyHead"})")), "2003");
  EXPECT_EQ(codeOf(api.answer(R"({"apiVersion":"1.0"})")), "2003");
  EXPECT_EQ(codeOf(api.answer(R"({"apiVersion":"9.0","method":"identifyHead"})")), "2000");
  EXPECT_EQ(codeOf(ask("dance")), "2005");
  EXPECT_EQ(codeOf(ask("setDeviceSettings")), "2003");
  EXPECT_EQ(codeOf(ask("setDeviceSettings", "{}")), "2003");
  for (const char* way : {R"("")", R"("Predictive")", "1", "null", R"(["predictive"])"}) {
    EXPECT_EQ(codeOf(ask("setDeviceSettings", std::string(R"({"following":)") + way + "}")), "2004")
        << way;
  }
  EXPECT_EQ(parameter("root.SentrelVideo.Following"), "predictive");
  EXPECT_EQ(parameter("root.SentrelVideo.Identify"), "0");
  EXPECT_EQ(changes, 0);
}

TEST_F(DeviceApiTest, ADeviceWithoutTheParameterSaysSo) {
  ParameterStore bare{{}};
  DeviceApi other(bare, [] {});
  EXPECT_EQ(codeOf(other.answer(R"({"apiVersion":"1.0","method":"identifyHead"})")), "1000");
}

}  // namespace
}  // namespace device
