#include "cgi/cgi_request.h"

#include <gtest/gtest.h>

#include <string>

#include "app/api_version_handler.h"

namespace {

constexpr const char* ONE[] = {"1.0"};

CGI_Request requestOf(const std::string& text) {
  return CGI_Request(DecodedText::exactly(text), API_VersionHandler(ONE, 1));
}

TEST(DecodedTextTest, ExactlyTakesNoTail) {
  EXPECT_TRUE(json_is_object(DecodedText::exactly("{} ").document.get()));
  const DecodedText decoded = DecodedText::exactly("{}x");
  EXPECT_FALSE(decoded.document);
  EXPECT_EQ(decoded.text, "{}x");
  EXPECT_NE(decoded.error, "");
}

TEST(DecodedTextTest, RepairedIsTheDocumentOfItsText) {
  const DecodedText decoded = DecodedText::repaired("{\"a\":[1]}\r\n--x--");
  EXPECT_EQ(decoded.text, "{\"a\":[1]}");
  EXPECT_EQ(json_array_size(json_object_get(decoded.document.get(), "a")), 1U);
  EXPECT_EQ(decoded.error, "");
}

TEST(DecodedTextTest, BlanksBehindADocumentStay) {
  for (const char* text : {"{} \t\r\n", "[1] \t\r\n", "{}"}) {
    const DecodedText decoded = DecodedText::repaired(text);
    EXPECT_EQ(decoded.text, text);
    EXPECT_TRUE(decoded.document) << text;
  }
}

// What JSON does not count as a blank is a tail.
TEST(DecodedTextTest, OtherWhiteSpaceBehindADocumentIsCutOff) {
  for (const char* tail : {"\f", "\v", " \xc2\xa0"}) {
    const DecodedText decoded = DecodedText::repaired(std::string("{}") + tail);
    EXPECT_EQ(decoded.text, "{}");
    EXPECT_TRUE(decoded.document);
  }
}

TEST(DecodedTextTest, OnlyAnObjectLosesItsTail) {
  const DecodedText decoded = DecodedText::repaired("[1]x");
  EXPECT_EQ(decoded.text, "[1]x");
  EXPECT_FALSE(decoded.document);
  EXPECT_EQ(decoded.error, DecodedText::exactly("[1]x").error);
}

TEST(DecodedTextTest, ATextThatIsNoJsonStaysWithWhatIsWrong) {
  for (const char* text : {"", "{", "text", "}{}"}) {
    json_error_t error{};
    ASSERT_EQ(json_loads(text, 0, &error), nullptr);
    const DecodedText decoded = DecodedText::repaired(text);
    EXPECT_EQ(decoded.text, text);
    EXPECT_FALSE(decoded.document);
    EXPECT_EQ(decoded.error, error.text);
  }
}

TEST(CgiRequestTest, HoldsTextDocumentAndHeader) {
  const std::string text = R"({"apiVersion":"1.0","context":"ctx","method":"go","params":{"a":4}})";
  const CGI_Request request = requestOf(text);
  EXPECT_EQ(request.text, text);
  EXPECT_EQ(request.header.method, "go");
  EXPECT_EQ(request.header.context, "ctx");
  EXPECT_TRUE(request.header.ok);
  EXPECT_EQ(json_integer_value(json_object_get(request.getParams("go"), "a")), 4);
}

TEST(CgiRequestTest, WithoutADocumentTheHeaderIsMalformed) {
  const CGI_Request request = requestOf("{");
  EXPECT_FALSE(request.document);
  EXPECT_NE(request.error, "");
  EXPECT_EQ(request.header.status, StatusCode_e::malformed);
}

void expectNoParams(const std::string& text, const std::string& message) {
  try {
    requestOf(text).getParams("go");
    ADD_FAILURE() << text;
  } catch (const StatusException& problem) {
    EXPECT_EQ(problem.getStatus(), StatusCode_e::malformed);
    EXPECT_EQ(problem.what(), message);
  }
}

TEST(CgiRequestTest, TellsWhyThereAreNoParams) {
  expectNoParams("{", "Could not decode the go json data");
  expectNoParams("{}", "Could not decode the params for go");
  expectNoParams("[1]", "Could not decode the params for go");
}

}  // namespace
