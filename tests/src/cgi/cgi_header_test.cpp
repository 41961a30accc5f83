#include "cgi/cgi_header.h"

#include <gtest/gtest.h>

#include <string>

#include "fakes/log_capture.h"
#include "src/cgi/cgi_test_base.h"

namespace {

constexpr const char* ONE[] = {"1.0"};
constexpr const char* SEVERAL[] = {"1.0", "1.2", "2.1"};

CGI_Header headerOf(const std::string& text) {
  return CGI_Header(text, API_VersionHandler(ONE, 1));
}

CGI_Header headerOfVersion(const std::string& version) {
  return headerOf(R"({"apiVersion":)" + version + R"(,"context":"c","method":"m"})");
}

TEST(CgiHeaderTest, ReadsItsMembers) {
  const CGI_Header header = headerOf(R"({"apiVersion":"1.0","context":"ctx","method":"go"})");
  EXPECT_TRUE(header.ok);
  EXPECT_EQ(header.status, StatusCode_e::ok);
  EXPECT_EQ(header.method, "go");
  EXPECT_EQ(header.context, "ctx");
  EXPECT_EQ(header.apiVersion.toString(), "1.0");
  EXPECT_EQ(header.responseVersion.toString(), "1.0");
}

TEST(CgiHeaderTest, ATextThatIsNoJsonIsMalformed) {
  for (const char* text : {"", "{", "text"}) {
    const CGI_Header header = headerOf(text);
    EXPECT_FALSE(header.ok);
    EXPECT_EQ(header.status, StatusCode_e::malformed) << text;
    EXPECT_EQ(header.responseVersion.toString(), "1.0");
  }
}

TEST(CgiHeaderTest, AVersionThatIsNotTwoNumbersIsMissing) {
  for (const char* version : {"\"1\"", "\"\"", "\"one\"", "\"1.x\"", "\"x.0\"", "\"1.0.0\"", "1.0",
                              "null", "[]", "\".\""}) {
    const CGI_Header header = headerOfVersion(version);
    EXPECT_FALSE(header.ok);
    EXPECT_EQ(header.status, StatusCode_e::missingParameter) << version;
  }
  EXPECT_EQ(headerOf(R"({"method":"m"})").status, StatusCode_e::missingParameter);
}

TEST(CgiHeaderTest, AVersionThatIsNotSpokenIsRefused) {
  for (const char* version : {"\"1.1\"", "\"2.0\"", "\"0.9\"", "\"2.15\""}) {
    const CGI_Header header = headerOfVersion(version);
    EXPECT_FALSE(header.ok);
    EXPECT_EQ(header.status, StatusCode_e::versionNotSupported) << version;
    EXPECT_EQ(header.responseVersion.toString(), "1.0");
  }
}

TEST(CgiHeaderTest, MissingMembersHaveDefaults) {
  const CGI_Header header = headerOf(R"({"apiVersion":"1.0"})");
  EXPECT_TRUE(header.ok);
  EXPECT_EQ(header.method, "missingMethod");
  EXPECT_EQ(header.context, "");
  EXPECT_FALSE(headerOf("{}").apiVersion.isValid());
}

TEST(CgiHeaderTest, TheAnswerCarriesTheHighestVersionOfTheRequestedMajorNumber) {
  const API_VersionHandler versions(SEVERAL, 3);
  EXPECT_EQ(CGI_Header(R"({"apiVersion":"1.1"})", versions).responseVersion.toString(), "1.2");
  EXPECT_EQ(CGI_Header(R"({"apiVersion":"2.0"})", versions).responseVersion.toString(), "2.1");
  EXPECT_EQ(CGI_Header(R"({"apiVersion":"3.0"})", versions).responseVersion.toString(), "2.1");
}

TEST(CgiHeaderTest, TheAnswersHeaderRepeatsContextAndMethod) {
  const API_VersionHandler versions(SEVERAL, 3);
  const CGI_Header header(R"({"method":"go","context":"\u20ac","apiVersion":"1.1"})", versions);
  EXPECT_EQ(dumped(header.createResponseHeader().get()),
            "{\"apiVersion\":\"1.2\",\"context\":\"\xe2\x82\xac\",\"method\":\"go\"}");
}

}  // namespace
