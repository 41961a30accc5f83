#include "cgi/cgi_handler.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <limits>
#include <string>

#include "addon/libs/vigil_pack_lib/factory/cgi_pack.h"
#include "src/cgi/cgi_test_base.h"

namespace {

using Texts = std::vector<std::string>;
using enum StatusCode_e;

class CgiHandlerTest : public CgiTest {
 protected:
  using CgiTest::CgiTest;

  static void expectResult(const CGI_HandlerResult& result, StatusCode_e status,
                           const std::string& message) {
    EXPECT_EQ(result.status, status);
    EXPECT_FALSE(result.data);
    EXPECT_TRUE(isLogged(message)) << message;
  }
};

class MechanicalCgiHandlerTest : public CgiHandlerTest {
 protected:
  MechanicalCgiHandlerTest() : CgiHandlerTest(true) {}
};

// ---- The header ----

TEST_F(CgiHandlerTest, ARefusedHeaderIsLogged) {
  const std::string text = R"({"apiVersion":"1.1","context":"ctx","method":"getSentrel"})";
  const CGI_HandlerResult result = handler->handleRequest(text);
  EXPECT_EQ(result.status, versionNotSupported);
  EXPECT_FALSE(result.data);
  EXPECT_EQ(log.count("The request header is not ok.\n"
                      "  Parsed request: [version: 1.1, method: getSentrel, context: ctx]\n"
                      "  Supported version matching request: 1.0\n"
                      "  Received request: " +
                      text + "\n"),
            1);
}

TEST_F(CgiHandlerTest, ARefusedHeaderReachesNoMethod) {
  useParser(fakeParser, configurationPath);
  handler->handleRequest(R"({"apiVersion":"1.1","method":"setConfiguration","params":{}})");
  EXPECT_TRUE(notes.take().empty());
}

TEST_F(CgiHandlerTest, ExtractsHeaders) {
  const CGI_Header header = handler->extractHeader(request("go"));
  EXPECT_TRUE(header.ok);
  EXPECT_EQ(header.method, "go");
  EXPECT_EQ(header.context, "c");
}

// ---- setConfiguration ----

TEST_F(CgiHandlerTest, AConfigurationIsStoredAndApplied) {
  EXPECT_EQ(dataOf(configuration({5, 6})), "{}");
  EXPECT_TRUE(container->doesProfileExist(5));
  EXPECT_TRUE(container->doesProfileExist(6));
  EXPECT_EQ(notes.take(), Texts({"create 1 0 1.0 14"}));
  const JsonAutoPtr document = stored();
  EXPECT_STREQ(json_string_value(json_object_get(document.get(), "method")), "setConfiguration");
  EXPECT_EQ(json_array_size(json_object_get(json_object_get(document.get(), "params"), "profiles")),
            2U);
}

TEST_F(CgiHandlerTest, ANewConfigurationReplacesTheProfiles) {
  ASSERT_EQ(codeOf(configuration({5})), "");
  ASSERT_EQ(codeOf(configuration({6})), "");
  EXPECT_FALSE(container->doesProfileExist(5));
  EXPECT_TRUE(container->doesProfileExist(6));
}

TEST_F(CgiHandlerTest, TheFirstConfigurationHasTheStatusOne) {
  ASSERT_EQ(codeOf(configuration({5})), "");
  EXPECT_EQ(storedStatus(), 1);
}

TEST_F(CgiHandlerTest, TwoConfigurationsRaiseTheStatusByTwo) {
  writeText(configurationPath, R"({"params":{"configurationStatus":41}})");
  ASSERT_EQ(codeOf(configuration({5})), "");
  ASSERT_EQ(codeOf(configuration({6})), "");
  EXPECT_EQ(storedStatus(), 43);
}

TEST_F(CgiHandlerTest, TheStatusOfTheRequestDoesNotCount) {
  std::string text = configuration({5});
  text.replace(text.find("{\"cameras\""), 1, "{\"configurationStatus\":900,");
  ASSERT_EQ(codeOf(text), "");
  EXPECT_EQ(storedStatus(), 1);
}

TEST_F(CgiHandlerTest, AStatusBeyondTheRangeBeginsAnew) {
  constexpr const char* RESET = "Configuration status was reset to 1 as it exceeded int max\n";
  writeText(configurationPath, R"({"params":{"configurationStatus":2147483646}})");
  ASSERT_EQ(codeOf(configuration({5})), "");
  EXPECT_EQ(storedStatus(), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(log.count(RESET), 0);
  ASSERT_EQ(codeOf(configuration({5})), "");
  EXPECT_EQ(storedStatus(), 1);
  EXPECT_EQ(log.count(LOG_WARNING, RESET), 1);
}

TEST_F(CgiHandlerTest, AStoredFileWithoutAStatusCountsAsZero) {
  for (const char* text : {"", "no json", "{}", R"({"params":{}})"}) {
    writeText(configurationPath, text);
    ASSERT_EQ(codeOf(configuration({5})), "");
    EXPECT_EQ(storedStatus(), 1) << text;
  }
}

TEST_F(CgiHandlerTest, ARefusedConfigurationChangesNothing) {
  ASSERT_EQ(codeOf(configuration({5})), "");
  const std::string before = storedText();
  EXPECT_EQ(codeOf(configuration({6, 6})), "2002");
  EXPECT_EQ(codeOf(request("setConfiguration")), "2003");
  EXPECT_EQ(codeOf(request("setConfiguration", R"({"cameras":[]})")), "2003");
  EXPECT_EQ(codeOf(request("setConfiguration",
                           R"({"cameras":[{"id":1,"active":true,"rotation":1}],"profiles":[]})")),
            "2004");
  EXPECT_EQ(storedText(), before);
  EXPECT_TRUE(container->doesProfileExist(5));
  EXPECT_FALSE(container->doesProfileExist(6));
}

TEST_F(CgiHandlerTest, TheParsersStatusIsAnswered) {
  useParser(fakeParser, configurationPath);
  for (const StatusCode_e status : {malformed, missingParameter, invalidParameter, contradiction}) {
    fakeParser.answer = status;
    EXPECT_EQ(handler->handleSetRequest(request("setConfiguration", "{}")).status, status);
    EXPECT_EQ(notes.take(), Texts({"parse"})) << "nothing is built";
  }
  EXPECT_EQ(storedText(), "");
}

TEST_F(CgiHandlerTest, ConfigurationsAreBuiltAfterTheFileIsSaved) {
  useParser(fakeParser, configurationPath);
  EXPECT_EQ(handler->handleSetRequest(request("setConfiguration", "{}")).status, ok);
  EXPECT_EQ(notes.take(), Texts({"parse", "build", "create 1 0 1.0 14"}));
}

TEST_F(CgiHandlerTest, AConfigurationThatCannotBeSavedIsNotApplied) {
  ASSERT_EQ(codeOf(configuration({5})), "");
  useParser(realParser, folder.path("missing/config.json"));
  EXPECT_EQ(codeOf(configuration({6})), "1000");
  EXPECT_EQ(handler->handleSetRequest(configuration({6})).status, saveFailed);
  EXPECT_TRUE(container->doesProfileExist(5));
  EXPECT_FALSE(container->doesProfileExist(6));
}

TEST_F(CgiHandlerTest, AConfigurationThatCannotBeSavedBuildsNothing) {
  useParser(fakeParser, folder.path("missing/config.json"));
  EXPECT_EQ(handler->handleSetRequest(request("setConfiguration", "{}")).status, saveFailed);
  EXPECT_EQ(notes.take(), Texts({"parse"}));
}

TEST_F(CgiHandlerTest, AFixedDeviceStoresNoPresets) {
  ASSERT_EQ(codeOf(configuration({5})), "");
  EXPECT_EQ(storedText().find("presets"), std::string::npos);
}

TEST_F(CgiHandlerTest, RealsAreStoredWithFourDigits) {
  Profile profile;
  profile.triggers = R"([{"type":"includeArea","data":[[0.123456,0],[0,0.5],[-0.5,0]]}])";
  ASSERT_EQ(codeOf(request("setConfiguration",
                           R"({"cameras":[{"id":1,"active":true,"rotation":0}],"profiles":[)" +
                               profile.text() + "]}")),
            "");
  EXPECT_NE(storedText().find("[0.1235,0]"), std::string::npos) << storedText();
}

TEST_F(MechanicalCgiHandlerTest, ProfilesWithoutPresetsGetNone) {
  Profile with;
  with.presets = "[4]";
  Profile without;
  without.uid = "8";
  ASSERT_EQ(codeOf(request("setConfiguration",
                           R"({"cameras":[{"id":1,"active":true,"rotation":0}],"profiles":[)" +
                               with.text() + "," + without.text() + "]}")),
            "");
  const JsonAutoPtr document = stored();
  const json_t* const profiles =
      json_object_get(json_object_get(document.get(), "params"), "profiles");
  EXPECT_EQ(dumped(json_object_get(json_array_get(profiles, 0), "presets")), "[4]");
  EXPECT_EQ(dumped(json_object_get(json_array_get(profiles, 1), "presets")), "[]");
}

TEST_F(MechanicalCgiHandlerTest, WhereThereIsNothingToAddPresetsToIsLogged) {
  useParser(fakeParser, configurationPath);
  handler->handleSetRequest(request("setConfiguration"));
  EXPECT_EQ(log.count("Could not get 'params'  when trying to add missing PTZ preset array\n"), 1);
  handler->handleSetRequest(request("setConfiguration", "{}"));
  EXPECT_EQ(log.count("Could not get 'profiles' when trying to add missing PTZ preset array \n"),
            1);
}

// ---- getConfiguration ----

TEST_F(CgiHandlerTest, TheStoredParamsAreAnswered) {
  writeText(configurationPath, R"({"apiVersion":"1.0","params":{"b":[1,2],"a":{"x":true}}})");
  EXPECT_EQ(dataOf(request("getConfiguration")), R"({"b":[1,2],"a":{"x":true}})");
}

TEST_F(CgiHandlerTest, WhatWasSetCanBeGotAndSetAgain) {
  ASSERT_EQ(codeOf(configuration({5})), "");
  const std::string params = dataOf(request("getConfiguration"));
  EXPECT_EQ(codeOf(request("setConfiguration", params)), "");
  EXPECT_EQ(storedStatus(), 2);
}

TEST_F(CgiHandlerTest, AFileThatCannotBeReadIsAnErrorInside) {
  expectResult(handler->handleGetRequest(request("getConfiguration")), fileNotReadable,
               "Could not read the configuration file\n");
  EXPECT_EQ(codeOf(request("getConfiguration")), "1000");
}

TEST_F(CgiHandlerTest, AFileThatIsNoJsonIsAnErrorInside) {
  writeText(configurationPath, "no json");
  expectResult(handler->handleGetRequest(request("getConfiguration")), internalError,
               "Could not decode the json from the configuration file\n");
  EXPECT_EQ(codeOf(request("getConfiguration")), "1000");
}

TEST_F(CgiHandlerTest, AFileWithoutParamsIsAnErrorInside) {
  writeText(configurationPath, R"({"other":{}})");
  expectResult(handler->handleGetRequest(request("getConfiguration")), internalError,
               "Could not get 'params' from the decoded json\n");
  EXPECT_EQ(codeOf(request("getConfiguration")), "1000");
}

TEST_F(CgiHandlerTest, FailuresAreLoggedWithTheRequest) {
  const std::string text = request("getConfiguration");
  log.clear();
  handler->handleGetRequest(text);
  EXPECT_TRUE(isLogged(text));
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.priority, LOG_ERR) << line.text;
  }
}

// ---- Visual confirmation ----

TEST_F(CgiHandlerTest, VisualConfirmationStartsAndStops) {
  ASSERT_EQ(codeOf(configuration({5, 6})), "");
  EXPECT_EQ(dataOf(request("startVisualConfirmation", R"({"profile":6})")), "{}");
  EXPECT_EQ(container->getVisualConfIdNbr(), 6);
  EXPECT_EQ(codeOf(request("startVisualConfirmation", R"({"profile":5})")), "");
  EXPECT_EQ(container->getVisualConfIdNbr(), 5);
  EXPECT_EQ(dataOf(request("stopVisualConfirmation")), "{}");
  EXPECT_FALSE(container->isVisualConfEnabled());
  EXPECT_EQ(codeOf(request("stopVisualConfirmation")), "");
}

TEST_F(CgiHandlerTest, VisualConfirmationGoesOnUnderANewConfiguration) {
  ASSERT_EQ(codeOf(configuration({5})), "");
  ASSERT_EQ(codeOf(request("startVisualConfirmation", R"({"profile":5})")), "");
  ASSERT_EQ(codeOf(configuration({5, 6})), "");
  EXPECT_EQ(container->getVisualConfIdNbr(), 5);
}

TEST_F(CgiHandlerTest, VisualConfirmationNeedsAProfileThatIsThere) {
  expectResult(handler->handleStartVisualConfirmation("{"), malformed,
               "Could not decode the startVisualConfirmation json data\n");
  expectResult(handler->handleStartVisualConfirmation(request("startVisualConfirmation")),
               malformed, "Could not decode the params for startVisualConfirmation\n");
  for (const char* params : {"{}", R"({"profile":"5"})", R"({"profile":5.5})"}) {
    log.clear();
    expectResult(handler->handleStartVisualConfirmation(request("startVisualConfirmation", params)),
                 missingParameter,
                 "Could not unpack data for profile uid for startVisualConfirmation\n");
  }
  expectResult(handler->handleStartVisualConfirmation(
                   request("startVisualConfirmation", R"({"profile":5})")),
               contradiction, "Could not enable visual confirmation\n");
  EXPECT_EQ(codeOf(request("startVisualConfirmation", R"({"profile":5})")), "2002");
}

TEST_F(CgiHandlerTest, AProfileUidBeyond32BitsIsOutOfBounds) {
  // Cut to 32 bits, the last two would name the profile that is there.
  ASSERT_EQ(codeOf(configuration({5})), "");
  for (const char* uid : {"2147483648", "-2147483649", "4294967301", "-4294967291"}) {
    const std::string params = std::string(R"({"profile":)") + uid + "}";
    log.clear();
    expectResult(handler->handleStartVisualConfirmation(request("startVisualConfirmation", params)),
                 invalidParameter, "Incorrect profile uid for startVisualConfirmation\n");
    log.clear();
    expectResult(handler->handleSendAlarmEvent(request("sendAlarmEvent", params)), invalidParameter,
                 "Incorrect profile uid for sendAlarmEvent\n");
    EXPECT_EQ(codeOf(request("startVisualConfirmation", params)), "2004");
    EXPECT_EQ(codeOf(request("sendAlarmEvent", params)), "2004");
  }
  EXPECT_FALSE(container->isVisualConfEnabled());
}

// ---- Test alarms ----

TEST_F(CgiHandlerTest, ATestAlarmStartsTheAlarmOfItsProfile) {
  ASSERT_EQ(codeOf(configuration({5, 6})), "");
  FakeEvents::clearSent();
  EXPECT_EQ(dataOf(request("sendAlarmEvent", R"({"profile":6})")), "{}");
  container->getCamera({1, 0, {}})->handleMoteData(FrameOf{.time = clock.now()}.make());
  EXPECT_EQ(FakeEvents::sentTo("Camera1Profile6").size(), 1U);
  EXPECT_TRUE(FakeEvents::sentTo("Camera1Profile5").empty());
}

TEST_F(CgiHandlerTest, ATestAlarmNeedsAProfileThatIsThere) {
  expectResult(handler->handleSendAlarmEvent("{"), malformed,
               "Could not decode the sendAlarmEvent json data\n");
  expectResult(handler->handleSendAlarmEvent(request("sendAlarmEvent")), malformed,
               "Could not decode the params for sendAlarmEvent\n");
  for (const char* params : {"{}", R"({"profile":true})"}) {
    log.clear();
    expectResult(handler->handleSendAlarmEvent(request("sendAlarmEvent", params)), missingParameter,
                 "Could not unpack data for profile uid for sendAlarmEvent\n");
  }
  expectResult(handler->handleSendAlarmEvent(request("sendAlarmEvent", R"({"profile":5})")),
               invalidParameter, "Profile does not exist\n");
  EXPECT_EQ(codeOf(request("sendAlarmEvent", R"({"profile":5})")), "2004");
}

TEST_F(CgiHandlerTest, ATestAlarmThatCannotBeSentIsAnErrorInside) {
  ASSERT_EQ(codeOf(configuration({5})), "");
  container->refusesTestAlarms = true;
  log.clear();
  expectResult(handler->handleSendAlarmEvent(request("sendAlarmEvent", R"({"profile":5})")),
               internalError, "Could not send alarm event\n");
  EXPECT_EQ(codeOf(request("sendAlarmEvent", R"({"profile":5})")), "1000");
}

// ---- Versions and capabilities ----

TEST_F(CgiHandlerTest, SupportedVersionsAreInTheHandlersOrder) {
  constexpr const char* TEXTS[] = {"2.0", "1.0", "1.3"};
  const API_VersionHandler several(TEXTS, 3);
  CGI_Handler other(*container, several, configurationPath, boundaries, defaults, realParser);
  const CGI_HandlerResult result =
      other.handleGetSupportedVersions(request("getSupportedVersions"));
  EXPECT_EQ(result.status, ok);
  EXPECT_EQ(dumped(result.data.get()), R"({"apiVersions":["1.0","1.3","2.0"]})");
}

TEST_F(CgiHandlerTest, CapabilitiesAreThoseOfTheConfiguration) {
  EXPECT_EQ(dataOf(request("getConfigurationCapabilities")),
            dumped(CGI_Pack(boundaries, defaults).capabilities().get()));
  EXPECT_NE(dataOf(request("getConfigurationCapabilities")), "{}");
}

TEST_F(CgiHandlerTest, OnItsOwnItKnowsNothingOfTheTracker) {
  CGI_Handler other(*container, versions, configurationPath, boundaries, defaults, realParser);
  EXPECT_EQ(other.handleRequest(request("getSentrel")).status, methodNotFound);
  EXPECT_EQ(other.handleRequest(request("setSentrel", "{}")).status, methodNotFound);
}

}  // namespace
