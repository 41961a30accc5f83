#include "onvif_server/soap_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device_web/digest_client.h"
#include "device_web/web_client.h"
#include "onvif/fault.h"
#include "onvif/namespaces.h"
#include "onvif/time_text.h"

namespace device::onvif {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

std::string base64(const std::string& bytes) {
  const GTextPtr text(g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()));
  return text.get();
}

std::string message(const std::string& operation, const std::string& header = "") {
  return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\">" + header + "<s:Body><" +
         operation + " xmlns=\"urn:test\"/></s:Body></s:Envelope>";
}

std::string tokenHeader(const std::string& user, const std::string& password,
                        const std::string& nonce, std::int64_t created = g_get_real_time()) {
  const std::string time = dateTimeText(created);
  return std::string("<s:Header><o:Security s:mustUnderstand=\"1\" xmlns:o=\"") + ns::SECURITY +
         "\"><o:UsernameToken><o:Username>" + user +
         "</o:Username><o:Password Type=\"http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-"
         "username-token-profile-1.0#PasswordDigest\">" +
         passwordDigest(nonce, time, password) + "</o:Password><o:Nonce>" + base64(nonce) +
         "</o:Nonce><u:Created xmlns:u=\"" + ns::SECURITY_UTILITY + "\">" + time +
         "</u:Created></o:UsernameToken></o:Security></s:Header>";
}

class SoapServerTest : public testing::Test {
 protected:
  SoapServerTest() {
    operations.add("urn:test", "Open", Access::anybody, [](const Request& request) {
      return Tag("OpenResponse", request.host + request.path);
    });
    operations.add("urn:test", "Closed", Access::user,
                   [](const Request&) { return Tag("ClosedResponse"); });
    operations.add("urn:test", "Refused", Access::anybody, [](const Request&) -> Tag {
      throw invalidArgument("ter:NoProfile", "No <profile>");
    });
    operations.add("urn:test", "ClosedAndRefused", Access::user, [](const Request&) -> Tag {
      throw invalidArgument("ter:NoProfile", "No profile");
    });
    operations.addWaiting(
        "urn:test", "Waiting", Access::anybody,
        [this](const Request&, const Operations::Answer& answer) { waiting.push_back(answer); });
    operations.setAction("urn:test", "Waiting", "urn:test/answer");
  }

  std::uint16_t start() {
    server = std::make_unique<SoapServer>(options, operations, limits);
    return server->port();
  }
  std::uint16_t startForUser() {
    options.user = WebUser{"anna", "secret word"};
    return start();
  }

  static WebResponse send(std::uint16_t port, const std::string& body,
                          const std::string& headers = "") {
    WebClient client(port);
    client.request("POST", PATH, body, headers);
    return client.response();
  }

  static constexpr char PATH[] = "/onvif/device_service";
  const DigestClient login{"anna", "secret word"};
  OnvifOptions options;
  ConnectionLimits limits;
  Operations operations;
  std::unique_ptr<SoapServer> server;
  std::vector<Operations::Answer> waiting;  // goes before the server, which the requests belong to
};

TEST_F(SoapServerTest, OperationIsAnsweredAndKnowsHowItsClientNamesTheDevice) {
  const std::uint16_t port = start();
  const WebResponse response =
      send(port, message("Open"), "Host: localhost:" + std::to_string(port) + "\r\n");
  EXPECT_EQ(200, response.status);
  EXPECT_EQ("application/soap+xml; charset=utf-8", response.headers.at("Content-Type"));
  EXPECT_THAT(response.body, HasSubstr("<s:Body><OpenResponse>localhost:" + std::to_string(port) +
                                       PATH + "</OpenResponse></s:Body>"));
}

TEST_F(SoapServerTest, OperationIsFoundWhateverPathItIsSentTo) {
  const std::uint16_t port = start();
  WebClient client(port);
  client.request("POST", "/onvif/something/else", message("Closed"));
  EXPECT_THAT(client.response().body, HasSubstr("ClosedResponse"));
}

TEST_F(SoapServerTest, ClientThatLeavesThePortOutIsToldWithIt) {
  const std::uint16_t port = start();
  EXPECT_THAT(send(port, message("Open"), "Host: 127.0.0.1\r\n").body,
              HasSubstr(">127.0.0.1:" + std::to_string(port) + PATH));
  EXPECT_EQ(403, send(port, message("Open"), "Host: elsewhere.example\r\n").status);
  EXPECT_EQ(403, send(port, message("Open"), "Host: [::2]\r\n").status);
}

TEST_F(SoapServerTest, FaultHasItsStatusSubcodesAndReason) {
  const WebResponse response = send(start(), message("Refused"));
  EXPECT_EQ(400, response.status);
  EXPECT_THAT(response.body, HasSubstr("<s:Value>ter:InvalidArgVal</s:Value>"));
  EXPECT_THAT(response.body, HasSubstr("<s:Value>ter:NoProfile</s:Value>"));
  EXPECT_THAT(response.body, HasSubstr("No &lt;profile&gt;"));
}

TEST_F(SoapServerTest, OperationThatThereIsNotIsAFaultOfTheReceiver) {
  const std::uint16_t port = start();
  const WebResponse response = send(port, message("Unknown"));
  EXPECT_EQ(500, response.status);
  EXPECT_THAT(response.body, HasSubstr("ter:ActionNotSupported"));
}

TEST_F(SoapServerTest, WhatIsNoMessageIsAFaultOfTheSender) {
  const std::uint16_t port = start();
  for (const char* body : {"", "no XML", "<a/>", "<!DOCTYPE a [<!ENTITY b \"c\">]><a>&b;</a>"}) {
    const WebResponse response = send(port, body);
    EXPECT_EQ(400, response.status) << body;
    EXPECT_THAT(response.body, HasSubstr("ter:WellFormed")) << body;
  }
}

TEST_F(SoapServerTest, AnswerMayComeLater) {
  const std::uint16_t port = start();
  WebClient client(port);
  client.request("POST", PATH,
                 message("Waiting", std::string("<s:Header><MessageID xmlns=\"") + ns::ADDRESSING +
                                        "\">urn:7</MessageID></s:Header>"));
  ASSERT_TRUE(iterateUntil([&] { return !waiting.empty(); }));
  EXPECT_THAT(send(port, message("Open")).body, HasSubstr("OpenResponse"));  // others do not wait
  waiting.front().send(Tag("Later"), {});
  const WebResponse response = client.response();
  EXPECT_THAT(response.body, HasSubstr("<Later/>"));
  EXPECT_THAT(response.body, HasSubstr("<wsa:Action>urn:test/answer</wsa:Action>"));
  EXPECT_THAT(response.body, HasSubstr("<wsa:RelatesTo>urn:7</wsa:RelatesTo>"));
}

TEST_F(SoapServerTest, AnswerToAClientThatHasGoneIsDropped) {
  const std::uint16_t port = start();
  {
    WebClient client(port);
    client.request("POST", PATH, message("Waiting"));
    ASSERT_TRUE(iterateUntil([&] { return !waiting.empty(); }));
  }
  waiting.front().send(Tag("Later"), {});
  waiting.clear();
  EXPECT_EQ(200, send(port, message("Open")).status);
}

TEST_F(SoapServerTest, AnswerIsSentWhenItsClientHasIt) {
  const std::uint16_t port = start();
  WebClient client(port);
  client.request("POST", PATH, message("Waiting"));
  ASSERT_TRUE(iterateUntil([&] { return !waiting.empty(); }));
  EXPECT_TRUE(waiting.front().isAwaited());
  std::vector<bool> told;
  waiting.front().send(Tag("Later"), [&](bool isSent) { told.push_back(isSent); });
  EXPECT_EQ(std::vector<bool>{}, told);
  EXPECT_THAT(client.response().body, HasSubstr("<Later/>"));
  ASSERT_TRUE(iterateUntil([&] { return !told.empty(); }));
  waiting.clear();
  EXPECT_EQ(200, send(port, message("Open")).status);
  EXPECT_EQ(std::vector<bool>{true}, told);
}

TEST_F(SoapServerTest, AnswerIsNotAwaitedByAClientThatHasGone) {
  const std::uint16_t port = start();
  {
    WebClient client(port);
    client.request("POST", PATH, message("Waiting"));
    ASSERT_TRUE(iterateUntil([&] { return !waiting.empty(); }));
  }
  EXPECT_FALSE(waiting.front().isAwaited());
}

// What fits into the connection's buffers, 4 MiB, is written, whoever reads it.
TEST_F(SoapServerTest, AnswerThatIsCutOffIsNotSent) {
  const std::uint16_t port = start();
  std::vector<bool> told;
  {
    WebClient client(port, 4096);
    client.request("POST", PATH, message("Waiting"));
    ASSERT_TRUE(iterateUntil([&] { return !waiting.empty(); }));
    waiting.front().send(Tag("Later", std::string(std::size_t{5} << 20, 'x')),
                         [&](bool isSent) { told.push_back(isSent); });
    EXPECT_EQ(200, send(port, message("Open")).status);
    EXPECT_EQ(std::vector<bool>{}, told);
  }
  ASSERT_TRUE(iterateUntil([&] { return !told.empty(); }));
  EXPECT_EQ(std::vector<bool>{false}, told);
}

TEST_F(SoapServerTest, ServerEndsWhileRequestsWait) {
  const std::uint16_t port = start();
  WebClient client(port);
  client.request("POST", PATH, message("Waiting"));
  ASSERT_TRUE(iterateUntil([&] { return !waiting.empty(); }));
  waiting.clear();
  server.reset();
  EXPECT_TRUE(client.isClosed());
}

TEST_F(SoapServerTest, OnlyPostBelowItsRootIsPossible) {
  const std::uint16_t port = start();
  const WebResponse get = WebClient(port).get(PATH);
  EXPECT_EQ(405, get.status);
  EXPECT_EQ("POST", get.headers.at("Allow"));
  WebClient client(port);
  client.request("POST", "/elsewhere", message("Open"));
  EXPECT_EQ(404, client.response().status);
}

TEST_F(SoapServerTest, PagesFromElsewhereAreRefused) {
  const std::uint16_t port = start();
  EXPECT_EQ(403, send(port, message("Open"), "Origin: http://elsewhere.example\r\n").status);
  EXPECT_EQ(403, send(port, message("Open"), "Host: elsewhere.example\r\n").status);
  EXPECT_EQ(403, send(port, message("Open"), "Host: 127.0.0.1:1\r\n").status);
}

TEST_F(SoapServerTest, BodyOfOneMebibyteIsTheLargest) {
  const std::uint16_t port = start();
  std::string body = message("Open");
  body.resize(SoapServer::MOST_BODY, ' ');
  EXPECT_EQ(200, send(port, body).status);
  EXPECT_EQ(413, send(port, body + ' ').status);
  WebClient chunked(port);
  chunked.send("POST " + std::string(PATH) + " HTTP/1.1\r\nHost: 127.0.0.1:" +
               std::to_string(port) + "\r\nTransfer-Encoding: chunked\r\n\r\n");
  const std::string chunk = "10000\r\n" + std::string(0x10000, ' ') + "\r\n";
  for (int i = 0; i < 17; ++i) {
    chunked.send(chunk);
  }
  EXPECT_EQ(413, chunked.response().status);
}

TEST_F(SoapServerTest, WithoutCredentialsOnlyWhatIsOpenIsAnswered) {
  const std::uint16_t port = startForUser();
  EXPECT_EQ(200, send(port, message("Open")).status);
  const WebResponse closed = send(port, message("Closed"));
  EXPECT_EQ(401, closed.status);
  EXPECT_THAT(closed.headers.at("WWW-Authenticate"), HasSubstr("Digest realm="));
  EXPECT_EQ(401, send(port, message("Unknown")).status);
}

TEST_F(SoapServerTest, EmptyBodyIsAskedForAUserBeforeAnythingElse) {
  const WebResponse response = send(startForUser(), "");
  EXPECT_EQ(401, response.status);
  EXPECT_THAT(response.headers.at("WWW-Authenticate"), HasSubstr("Digest realm="));
  EXPECT_EQ(401, send(server->port(), "no XML").status);
}

TEST_F(SoapServerTest, TokenOfTheUserIsAcceptedOnce) {
  const std::uint16_t port = startForUser();
  const std::string body = message("Closed", tokenHeader("anna", "secret word", "nonce 1"));
  EXPECT_EQ(200, send(port, body).status);
  const WebResponse again = send(port, body);
  EXPECT_EQ(400, again.status);
  EXPECT_THAT(again.body, HasSubstr("ter:NotAuthorized"));
}

// As some clients do, which ask again as soon as they are answered.
TEST_F(SoapServerTest, TokensMayDifferByTheMillisecondAlone) {
  const std::uint16_t port = startForUser();
  for (int i = 0; i < 20; ++i) {
    for (const char* operation : {"Closed", "ClosedAndRefused", "NotOffered"}) {
      const std::string body =
          message(operation, tokenHeader("anna", "secret word", "the only nonce"));
      EXPECT_THAT(send(port, body).body,
                  AnyOf(HasSubstr("ClosedResponse"), HasSubstr("ter:NoProfile"),
                        HasSubstr("ter:ActionNotSupported")))
          << i;
    }
  }
}

TEST_F(SoapServerTest, OthersTokensAreRefused) {
  const std::uint16_t port = startForUser();
  const std::int64_t hour = 3600000000;
  for (const std::string& header :
       {tokenHeader("anna", "guess", "nonce 1"), tokenHeader("bert", "secret word", "nonce 2"),
        tokenHeader("anna", "secret word", "nonce 3", g_get_real_time() - hour),
        tokenHeader("", "", "")}) {
    const WebResponse response = send(port, message("Closed", header));
    EXPECT_EQ(400, response.status);
    EXPECT_THAT(response.body, HasSubstr("ter:NotAuthorized"));
    EXPECT_THAT(response.body, Not(HasSubstr("ClosedResponse")));
  }
}

TEST_F(SoapServerTest, WhatIsOpenNeedsNoRightToken) {
  EXPECT_EQ(200, send(startForUser(), message("Open", tokenHeader("", "", ""))).status);
}

TEST_F(SoapServerTest, DigestOfTheUserIsAcceptedWithAndWithoutAToken) {
  const std::uint16_t port = startForUser();
  const auto nonce = [&] {
    return parameterOf(send(port, "").headers.at("WWW-Authenticate"), "nonce");
  };
  EXPECT_EQ(200, send(port, message("Closed"), login.line("POST", PATH, nonce())).status);
  EXPECT_EQ(200, send(port, message("Closed", tokenHeader("anna", "guess", "n")),
                      login.line("POST", PATH, nonce()))
                     .status);
  const DigestClient guess{"anna", "guess"};
  EXPECT_EQ(401, send(port, message("Closed"), guess.line("POST", PATH, nonce())).status);
  EXPECT_EQ(401, send(port, message("Open"), guess.line("POST", PATH, nonce())).status);
}

TEST_F(SoapServerTest, WithoutUserTokensAreNotLookedAt) {
  EXPECT_EQ(200, send(start(), message("Closed", tokenHeader("any", "thing", "n"))).status);
}

TEST_F(SoapServerTest, ConnectionsOfOneAddressAreLimited) {
  limits.ofAddress = 4;
  const std::uint16_t port = start();
  std::vector<std::unique_ptr<WebClient>> idle;
  for (int i = 0; i < 10; ++i) {
    idle.push_back(std::make_unique<WebClient>(port));
  }
  EXPECT_EQ(200, send(port, message("Open")).status);
}

}  // namespace
}  // namespace device::onvif
