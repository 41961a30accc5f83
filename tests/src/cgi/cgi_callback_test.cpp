#include "cgi/cgi_callback.h"

#include <gtest/gtest.h>

#include <syslog.h>

#include <chrono>
#include <future>
#include <random>
#include <semaphore>
#include <string>

#include "src/cgi/cgi_test_base.h"
#include "src/config/json_memory.h"

namespace {

bool isJson(const std::string& text) {
  return static_cast<bool>(JsonAutoPtr(json_loads(text.c_str(), 0, nullptr)));
}

// While the text is no JSON: the last closing brace from the second-to-last character on backwards
// becomes its end.
std::string cutTail(std::string text) {
  while (!isJson(text)) {
    if (text.size() < 2) {
      return text;
    }
    const std::size_t brace = text.rfind('}', text.size() - 2);
    if (brace == std::string::npos) {
      return text;
    }
    text.resize(brace + 1);
  }
  return text;
}

// Both leave the same document, or none.
void expectSameRepair(const std::string& text) {
  const std::string expected = cutTail(text);
  const std::string repaired = CGI_Callback::repairTail(text);
  EXPECT_EQ(isJson(repaired), isJson(expected)) << text;
  if (isJson(expected)) {
    EXPECT_EQ(repaired, expected) << text;
  }
}

TEST(RepairTailTest, JsonIsLeftAlone) {
  for (const char* text : {"{}", "{\"a\":{}}", "[1,2]", " {} \n"}) {
    EXPECT_EQ(CGI_Callback::repairTail(text), text);
  }
}

TEST(RepairTailTest, WhatFollowsTheLastBraceIsCutOff) {
  EXPECT_EQ(CGI_Callback::repairTail("{\"a\":1}\r\n--boundary--"), "{\"a\":1}");
  EXPECT_EQ(CGI_Callback::repairTail("{\"a\":1}x"), "{\"a\":1}");
  EXPECT_EQ(CGI_Callback::repairTail("{\"a\":{}}}"), "{\"a\":{}}");
  EXPECT_EQ(CGI_Callback::repairTail("{}}}}}"), "{}");
  EXPECT_EQ(CGI_Callback::repairTail("{\"a\":1} {\"b\":2}"), "{\"a\":1}");
}

TEST(RepairTailTest, WhatCannotBeRepairedStaysUnusable) {
  for (const char* text : {"", "{", "}", "x", "x}", "{\"a\":", "}}}}", "{]}"}) {
    EXPECT_FALSE(isJson(CGI_Callback::repairTail(text))) << text;
  }
}

TEST(RepairTailTest, RandomTailsAreCutAsTheLoopCutsThem) {
  std::mt19937 random(31);
  const std::string letters = "{}{}}[]\":,a1 \n";
  std::uniform_int_distribution<std::size_t> letter(0, letters.size() - 1);
  std::uniform_int_distribution<int> length(0, 24);
  const std::string documents[] = {"", "{}", "{\"a\":{\"b\":[1,{}]}}", "[{}]", "{\"}\":\"}\"}"};
  int repaired = 0;
  for (int run = 0; run < 5000; ++run) {
    std::string text = documents[run % 5];
    for (int i = length(random); i > 0; --i) {
      text += letters[letter(random)];
    }
    expectSameRepair(text);
    repaired += !isJson(text) && isJson(cutTail(text)) ? 1 : 0;
  }
  EXPECT_GT(repaired, 100);
}

class CgiCallbackTest : public CgiTest {
 protected:
  static constexpr const char* VERSIONS_ANSWER =
      R"({"apiVersion":"1.0","context":"c","method":"getSupportedVersions",)"
      R"("data":{"apiVersions":["1.0"]}})";
};

TEST_F(CgiCallbackTest, AnswersWithTheHeaderAndTheData) {
  EXPECT_EQ(ask(request("getSupportedVersions")), std::string(HEADER) + VERSIONS_ANSWER);
}

TEST_F(CgiCallbackTest, WithoutDataTheDataIsAnEmptyObject) {
  EXPECT_EQ(ask(request("stopVisualConfirmation")),
            std::string(HEADER) +
                R"({"apiVersion":"1.0","context":"c","method":"stopVisualConfirmation",)"
                R"("data":{}})");
}

TEST_F(CgiCallbackTest, AnErrorIsAnsweredWithItsCodeAndMessageAndStatus200) {
  EXPECT_EQ(ask(request("dance")),
            std::string(HEADER) +
                R"({"apiVersion":"1.0","context":"c","method":"dance",)"
                R"("error":{"code":"2005","message":"The requested CGI method was not found"}})");
}

TEST_F(CgiCallbackTest, StrayBytesAfterTheLastBraceAreTolerated) {
  EXPECT_EQ(ask(request("getSupportedVersions") + "\r\n--x--"),
            std::string(HEADER) + VERSIONS_ANSWER);
}

TEST_F(CgiCallbackTest, AnOpeningBraceAloneIsMalformed) {
  EXPECT_EQ(codeOf("{"), "2001");
  EXPECT_EQ(codeOf("nothing like it"), "2001");
  EXPECT_EQ(codeOf(""), "2001");
}

TEST_F(CgiCallbackTest, AMalformedRequestIsAnsweredWithTheDefaults) {
  EXPECT_EQ(ask("{"),
            std::string(HEADER) +
                R"({"apiVersion":"1.0","context":"","method":"missingMethod","error":{)"
                R"("code":"2001","message":"The configuration was not formatted correctly, )"
                R"(i.e. does not follow json-scheme"}})");
}

TEST_F(CgiCallbackTest, VersionsAreNegotiated) {
  const auto codeOfVersion = [&](const std::string& version) {
    return codeOf(R"({"apiVersion":")" + version + R"(","method":"getSupportedVersions"})");
  };
  EXPECT_EQ(codeOfVersion("1.0"), "");
  EXPECT_EQ(codeOfVersion("1.1"), "2000");
  EXPECT_EQ(codeOfVersion("2.15"), "2000");
  EXPECT_EQ(codeOfVersion("1"), "2003");
  EXPECT_EQ(codeOfVersion("one.zero"), "2003");
  EXPECT_EQ(codeOf(R"({"method":"getSupportedVersions"})"), "2003");
}

TEST_F(CgiCallbackTest, AMissingMethodIsToldAsMissing) {
  EXPECT_EQ(codeOf(R"({"apiVersion":"1.0"})"), "2003");
  EXPECT_EQ(codeOf(request("missingMethod")), "2003");
}

TEST_F(CgiCallbackTest, MethodsAreKnownByTheirExactNames) {
  for (const char* method : {"", "getsentrel", "getSentrel ", "setconfiguration", "handle"}) {
    EXPECT_EQ(codeOf(request(method)), "2005") << method;
  }
}

TEST_F(CgiCallbackTest, WithoutABodyTheQueryIsTheRequest) {
  const std::string query = request("getSupportedVersions");
  EXPECT_EQ(callBack("GET", query.c_str(), nullptr, static_cast<CGI_Handler*>(handler.get())),
            std::string(HEADER) + VERSIONS_ANSWER);
}

TEST_F(CgiCallbackTest, WithoutAnyTextTheRequestIsMalformed) {
  for (const char* method : {"GET", "POST"}) {
    const std::string answer =
        callBack(method, nullptr, nullptr, static_cast<CGI_Handler*>(handler.get()));
    EXPECT_NE(answer.find("\"2001\""), std::string::npos) << answer;
  }
}

TEST_F(CgiCallbackTest, RealsAreAnsweredWithFourDigits) {
  writeText(configurationPath, R"({"params":{"value":0.123456789}})");
  EXPECT_EQ(dataOf(request("getConfiguration")), R"({"value":0.1235})");
  EXPECT_NE(ask(request("getConfiguration")).find("0.1235}"), std::string::npos);
}

// Whatever allocation of the JSON library is the first to fail.
TEST_F(CgiCallbackTest, AnAnswerThatCannotTakeItsDataIsLogged) {
  const std::string body = request("getSupportedVersions");
  int logged = 0;
  std::string answer;
  for (int allocations = 0; answer != std::string(HEADER) + VERSIONS_ANSWER; ++allocations) {
    ASSERT_LT(allocations, 1000) << answer;
    EXPECT_EQ(answer.find("data"), std::string::npos) << answer;
    log.clear();
    const JsonMemory memory(allocations);
    answer = ask(body);
    logged += log.count(LOG_WARNING, "Could not append handler data to CGI response\n");
  }
  EXPECT_GT(logged, 0);
  EXPECT_TRUE(log.lines().empty()) << "the whole answer";
}

TEST_F(CgiCallbackTest, NothingEscapes) {
  useParser(fakeParser, configurationPath);
  fakeParser.throwsWhileParsing = true;
  EXPECT_EQ(codeOf(request("setConfiguration", "{}")), "1000");
  fakeParser.throwsWhileParsing = false;
  fakeParser.throwsWhileBuilding = true;
  EXPECT_EQ(codeOf(request("setConfiguration", "{}")), "1000");
  EXPECT_EQ(codeOf(request("getSupportedVersions")), "") << "the next one is answered again";
}

// A handler that keeps each request until it is let go.
class KeepingHandler : public CGI_Handler {
 public:
  template <typename... Arguments>
  explicit KeepingHandler(Arguments&... arguments) : CGI_Handler(arguments...) {
    addMethods({{"keep", [this](const CGI_Request&) {
                   arrived.release();
                   letGo.acquire();
                   return JsonAutoPtr();
                 }}});
  }

  std::counting_semaphore<> arrived{0};
  std::counting_semaphore<> letGo{0};
};

class BusyCgiCallbackTest : public CgiCallbackTest {
 protected:
  // Long enough for what must not happen to happen.
  static constexpr auto SHORTLY = std::chrono::milliseconds(100);

  std::future<std::string> askInTheBackground() {
    return std::async(std::launch::async, [this] {
      const std::string body = request("keep");
      return callBack("POST", nullptr, body.c_str(), static_cast<CGI_Handler*>(&keeping));
    });
  }

  KeepingHandler keeping{*container, versions, configurationPath, boundaries, defaults, realParser};
};

TEST_F(BusyCgiCallbackTest, RequestsAreAnsweredOneAtATime) {
  std::future<std::string> first = askInTheBackground();
  keeping.arrived.acquire();
  std::future<std::string> second = askInTheBackground();
  EXPECT_FALSE(keeping.arrived.try_acquire_for(SHORTLY));
  keeping.letGo.release(2);
  EXPECT_NE(first.get(), "");
  EXPECT_NE(second.get(), "");
}

TEST_F(BusyCgiCallbackTest, TheShutdownWaitsForTheRequestThatIsBeingAnswered) {
  std::future<std::string> answer = askInTheBackground();
  keeping.arrived.acquire();
  const std::future<void> shutdown =
      std::async(std::launch::async, [] { CGI_Callback::shutDown(); });
  EXPECT_EQ(shutdown.wait_for(SHORTLY), std::future_status::timeout);
  keeping.letGo.release();
  EXPECT_NE(answer.get(), "");
  shutdown.wait();
  EXPECT_EQ(ask(request("getSupportedVersions")), "");
}

TEST_F(CgiCallbackTest, AfterTheShutdownNothingIsWritten) {
  CGI_Callback::shutDown();
  EXPECT_EQ(ask(request("getSupportedVersions")), "");
  EXPECT_EQ(ask("{"), "");
  useParser(fakeParser, configurationPath);
  ask(request("setConfiguration", "{}"));
  EXPECT_TRUE(notes.take().empty());
}

}  // namespace
