#include "cgi/tracker_cgi_handler.h"

#include <gtest/gtest.h>

#include <string>

#include "src/cgi/cgi_test_base.h"

namespace {

using enum StatusCode_e;

class TrackerCgiHandlerTest : public CgiTest {
 protected:
  std::string set(const std::string& params) { return codeOf(request("setSentrel", params)); }
};

TEST_F(TrackerCgiHandlerTest, TellsTheTrackersSettings) {
  EXPECT_EQ(dataOf(request("getSentrel")),
            R"({"state":"stopped","switchObject":false,"timePerObject":5,"minTimePerObject":1,)"
            R"("maxTimePerObject":60,"returnToHome":false,"returnToHomeTimeout":5,)"
            R"("minReturnToHomeTimeout":1,"maxReturnToHomeTimeout":60})");
}

TEST_F(TrackerCgiHandlerTest, AppliesEachSetting) {
  EXPECT_EQ(set(R"({"switchObject":true})"), "");
  EXPECT_TRUE(tracker->getSwitchObject());
  EXPECT_EQ(set(R"({"timePerObject":17})"), "");
  EXPECT_EQ(tracker->getTimePerObject(), 17);
  EXPECT_EQ(set(R"({"returnToHome":true})"), "");
  EXPECT_TRUE(tracker->getReturnToHomeEnabled());
  EXPECT_EQ(set(R"({"returnToHomeTimeout":23})"), "");
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 23);
  EXPECT_EQ(tracker->getState(), Tracker::CameraState::stopped);
  EXPECT_EQ(dataOf(request("getSentrel")),
            R"({"state":"stopped","switchObject":true,"timePerObject":17,"minTimePerObject":1,)"
            R"("maxTimePerObject":60,"returnToHome":true,"returnToHomeTimeout":23,)"
            R"("minReturnToHomeTimeout":1,"maxReturnToHomeTimeout":60})");
}

TEST_F(TrackerCgiHandlerTest, SwitchesTrackingOnAndOff) {
  EXPECT_EQ(set(R"({"enable":true})"), "");
  EXPECT_TRUE(Persistent::getSentrelEnabled());
  EXPECT_NE(dataOf(request("getSentrel")).find(R"("state":"connecting")"), std::string::npos);
  EXPECT_EQ(set(R"({"enable":false})"), "");
  EXPECT_EQ(tracker->getState(), Tracker::CameraState::stopped);
  EXPECT_FALSE(Persistent::getSentrelEnabled());
}

TEST_F(TrackerCgiHandlerTest, AppliesSeveralSettingsAtOnce) {
  EXPECT_EQ(set(R"({"returnToHomeTimeout":60,"returnToHome":true,"timePerObject":60,)"
                R"("switchObject":true,"enable":true})"),
            "");
  EXPECT_TRUE(tracker->getSwitchObject());
  EXPECT_EQ(tracker->getTimePerObject(), 60);
  EXPECT_TRUE(tracker->getReturnToHomeEnabled());
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 60);
  EXPECT_EQ(tracker->getState(), Tracker::CameraState::connecting);
}

TEST_F(TrackerCgiHandlerTest, WithoutSettingsNothingChanges) {
  EXPECT_EQ(dataOf(request("setSentrel", "{}")), "{}");
  EXPECT_EQ(tracker->getTimePerObject(), 5);
}

TEST_F(TrackerCgiHandlerTest, TimePerObjectIsOneToSixtySeconds) {
  EXPECT_EQ(set(R"({"timePerObject":1})"), "");
  EXPECT_EQ(tracker->getTimePerObject(), 1);
  EXPECT_EQ(set(R"({"timePerObject":60})"), "");
  EXPECT_EQ(tracker->getTimePerObject(), 60);
  for (const char* value : {"0", "61", "-1", "1000"}) {
    log.clear();
    EXPECT_EQ(set(std::string(R"({"timePerObject":)") + value + "}"), "2004") << value;
    EXPECT_TRUE(isLogged("Invalid value for parameter 'timePerObject'\n"));
  }
  EXPECT_EQ(tracker->getTimePerObject(), 60);
}

TEST_F(TrackerCgiHandlerTest, TheTimeoutOfReturningHomeIsOneToSixtySeconds) {
  EXPECT_EQ(set(R"({"returnToHomeTimeout":1})"), "");
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 1);
  EXPECT_EQ(set(R"({"returnToHomeTimeout":60})"), "");
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 60);
  for (const char* value : {"0", "61", "-1", "1000"}) {
    log.clear();
    EXPECT_EQ(set(std::string(R"({"returnToHomeTimeout":)") + value + "}"), "2004") << value;
    EXPECT_TRUE(isLogged("Invalid value for parameter 'returnToHomeTimeout'\n"));
  }
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 60);
}

TEST_F(TrackerCgiHandlerTest, ARejectedValueEndsTheRequestThere) {
  EXPECT_EQ(set(R"({"returnToHomeTimeout":9,"returnToHome":true,"timePerObject":0,)"
                R"("switchObject":true,"enable":true})"),
            "2004");
  EXPECT_EQ(tracker->getState(), Tracker::CameraState::connecting) << "comes before";
  EXPECT_TRUE(tracker->getSwitchObject()) << "comes before";
  EXPECT_FALSE(tracker->getReturnToHomeEnabled()) << "comes after";
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 5) << "comes after";
}

TEST_F(TrackerCgiHandlerTest, ARejectedTimeoutLeavesWhatCameBefore) {
  EXPECT_EQ(set(R"({"returnToHomeTimeout":61,"returnToHome":true,"timePerObject":9})"), "2004");
  EXPECT_EQ(tracker->getTimePerObject(), 9);
  EXPECT_TRUE(tracker->getReturnToHomeEnabled());
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 5);
}

TEST_F(TrackerCgiHandlerTest, ValuesOfAnotherTypeArePassedOver) {
  EXPECT_EQ(set(R"({"enable":1,"switchObject":"true","timePerObject":"7","returnToHome":null,)"
                R"("returnToHomeTimeout":7.5})"),
            "");
  EXPECT_EQ(tracker->getState(), Tracker::CameraState::stopped);
  EXPECT_FALSE(tracker->getSwitchObject());
  EXPECT_EQ(tracker->getTimePerObject(), 5);
  EXPECT_FALSE(tracker->getReturnToHomeEnabled());
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 5);
}

TEST_F(TrackerCgiHandlerTest, SettingsNeedParams) {
  const CGI_HandlerResult malformedResult = handler->handleSetSentrel("{");
  EXPECT_EQ(malformedResult.status, malformed);
  EXPECT_TRUE(isLogged("Could not decode the setSentrel json data\n"));
  const CGI_HandlerResult withoutParams = handler->handleSetSentrel(request("setSentrel"));
  EXPECT_EQ(withoutParams.status, malformed);
  EXPECT_TRUE(isLogged("Could not decode the params for setSentrel\n"));
  EXPECT_EQ(codeOf(request("setSentrel")), "2001");
}

TEST_F(TrackerCgiHandlerTest, TheMethodsOfTheConfigurationAreAnsweredToo) {
  EXPECT_EQ(handler->handleRequestedCgi(request("x"), "getSupportedVersions").status, ok);
  EXPECT_EQ(handler->handleRequestedCgi(request("x"), "missingMethod").status, missingParameter);
  EXPECT_EQ(handler->handleRequestedCgi(request("x"), "dance").status, methodNotFound);
}

}  // namespace
