#include "web_server/application_answer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace device {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(ApplicationAnswerTest, HeaderLinesStatusAndBodyAreRead) {
  const auto answer = parseApplicationAnswer(
      "Content-Type: application/json\r\nStatus: 404 Not Found\r\nX-Own:\t b:c "
      "\r\n\r\n{}\r\n\r\nx");
  ASSERT_TRUE(answer);
  EXPECT_EQ(404u, answer->status);
  EXPECT_THAT(answer->headers,
              ElementsAre(Pair("Content-Type", "application/json"), Pair("X-Own", "b:c")));
  EXPECT_EQ("{}\r\n\r\nx", answer->body);
}

TEST(ApplicationAnswerTest, WithoutAStatusLineItIsTwoHundred) {
  EXPECT_EQ(200u, parseApplicationAnswer("A: b\r\n\r\n")->status);
  EXPECT_EQ(204u, parseApplicationAnswer("status:204\r\n\r\n")->status);
}

TEST(ApplicationAnswerTest, HeadersOfTheConnectionAreTheServersBusiness) {
  const auto answer = parseApplicationAnswer(
      "content-length: 7\r\nConnection: close\r\nTransfer-Encoding: chunked\r\nKeep-Alive: 1\r\n"
      "Date: now\r\nA: b\r\n\r\n");
  ASSERT_TRUE(answer);
  EXPECT_THAT(answer->headers, ElementsAre(Pair("A", "b")));
}

TEST(ApplicationAnswerTest, WhatIsNoAnswerIsRefused) {
  for (const char* text :
       {"", "{}", "A: b\r\n", "\r\n", "no colon\r\n\r\n", ": empty\r\n\r\n", "a b: c\r\n\r\n",
        "Status: x\r\n\r\n", "Status: 100 Go on\r\n\r\n", "Status: 600 No\r\n\r\n",
        "Status: 200OK\r\n\r\n", "Status: \r\n\r\n", "A: b\r\n\nC: d"}) {
    EXPECT_FALSE(parseApplicationAnswer(text)) << text;
  }
}

}  // namespace
}  // namespace device
