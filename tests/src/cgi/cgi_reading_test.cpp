// How often a request is read.
#include <gtest/gtest.h>

#include <string>

#include "src/cgi/cgi_test_base.h"
#include "src/config/json_memory.h"

namespace {

class CgiReadingTest : public CgiTest {
 protected:
  // A length that no other text here, and no table that doubles in size, has.
  static constexpr std::size_t LENGTH = 10'007;

  // How often the text of that length in a request is read until the answer is there.
  int readingsOf(std::string text) {
    text.insert(1, "\"note\":\"" + std::string(LENGTH, 'x') + "\",");
    const JsonReadings readings(LENGTH);
    ask(text);
    return JsonReadings::number();
  }
};

TEST_F(CgiReadingTest, TheCountSeesEachReading) {
  const std::string text = "{\"note\":\"" + std::string(LENGTH, 'x') + "\"}";
  const JsonReadings readings(LENGTH);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(JsonAutoPtr(json_loads(text.c_str(), 0, nullptr)));
  }
  EXPECT_EQ(JsonReadings::number(), 3);
}

TEST_F(CgiReadingTest, ARequestIsReadOnce) {
  ASSERT_EQ(codeOf(configuration({5})), "");
  for (const char* method :
       {"startVisualConfirmation", "sendAlarmEvent", "stopVisualConfirmation", "getConfiguration",
        "getSupportedVersions", "getConfigurationCapabilities", "getSentrel", "setSentrel"}) {
    EXPECT_EQ(readingsOf(request(method, R"({"profile":5})")), 1) << method;
  }
}

TEST_F(CgiReadingTest, ARequestWithATailIsReadOnce) {
  EXPECT_EQ(readingsOf(request("getSentrel", "{}") + "\r\n--boundary--}"), 1);
}

// The second reading is that of the file's new text, before it is written.
TEST_F(CgiReadingTest, AConfigurationIsReadOnceAndAgainAsItWillStand) {
  EXPECT_EQ(readingsOf(configuration({5})), 2);
}

}  // namespace
