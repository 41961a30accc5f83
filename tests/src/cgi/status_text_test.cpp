#include "cgi/status_text.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

#include "cgi/cgi_handler_result.h"

namespace {

using Answer = std::pair<std::string, std::string>;

const Answer INTERNAL{"1000", "An error occurred inside the application."};

const std::map<int, Answer>& table() {
  static const std::map<int, Answer> ANSWERS = {
      {0, {"", ""}},
      {2,
       {"2001", "The configuration was not formatted correctly, i.e. does not follow json-scheme"}},
      {4, {"2003", "A mandatory parameter is missing"}},
      {8, {"2004", "The configuration contains an invalid parameter"}},
      {16,
       {"2002",
        "Parts of the configuration contradict each other, e.g several profiles have the same "
        "id"}},
      {128, {"2005", "The requested CGI method was not found"}},
      {512, {"2000", "The requested version of the application is not supported."}},
      {1024, {"8000", "The product is not supported by the MIRU."}}};
  return ANSWERS;
}

Answer answerOf(int status) {
  const auto code = static_cast<StatusCode_e>(status);
  return {utils::convertStatusToJsonCode(code), utils::convertStatusToJsonMessage(code)};
}

TEST(StatusTextTest, EachStatusHasItsCodeAndMessage) {
  for (const auto& [status, answer] : table()) {
    EXPECT_EQ(answerOf(status), answer) << status;
  }
}

TEST(StatusTextTest, EveryOtherStatusIsAnErrorInside) {
  for (int status = -3; status < 3000; ++status) {
    if (!table().contains(status)) {
      EXPECT_EQ(answerOf(status), INTERNAL) << status;
    }
  }
}

TEST(CgiHandlerResultTest, ItsTextsFollowFromItsStatus) {
  for (const auto& [status, answer] : table()) {
    const CGI_HandlerResult result(static_cast<StatusCode_e>(status));
    EXPECT_EQ(result.status, static_cast<StatusCode_e>(status));
    EXPECT_EQ(result.code, answer.first);
    EXPECT_EQ(result.message, answer.second);
    EXPECT_FALSE(result.data);
  }
}

TEST(CgiHandlerResultTest, ReleasesItsData) {
  json_t* const value = json_object();
  {
    const CGI_HandlerResult result(StatusCode_e::ok, JsonAutoPtr(json_incref(value)));
    EXPECT_EQ(result.data.get(), value);
    EXPECT_EQ(value->refcount, 2U);
  }
  EXPECT_EQ(value->refcount, 1U);
  json_decref(value);
}

}  // namespace
