#include "onvif_client/camera_calls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "fake_camera.h"
#include "onvif/time_text.h"

namespace device::onvif {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::int64_t SECOND = 1000000;
constexpr std::int64_t HOUR = 3600 * SECOND;
constexpr char USER[] = "anna";
constexpr char PASSWORD[] = "secret word";
constexpr char CHALLENGE[] =
    R"(Digest realm="camera", nonce="0123456789abcdef", qop="auth", algorithm=MD5)";

bool isTrue(const UserToken& token) {
  return token.user == USER && token.digest == passwordDigest(token.nonce, token.created, PASSWORD);
}

// A camera that believes tokens of its own time only.
class CameraCallsTest : public testing::Test {
 protected:
  void start(FakeCamera::Answer answer, const std::string& password = PASSWORD) {
    camera = std::make_unique<FakeCamera>(std::move(answer));
    calls = std::make_unique<CameraCalls>(camera->url(), Login{USER, password});
  }

  SoapReply call(const std::string& address = "", unsigned timeOut = CameraCalls::TIME_OUT) {
    std::optional<SoapReply> reply;
    calls->call(
        address.empty() ? camera->url() : address, Tag("tds:GetDeviceInformation"),
        [&](const SoapReply& came) { reply = came; }, timeOut);
    EXPECT_TRUE(iterateUntil([&] { return reply.has_value(); }));
    return *reply;
  }

  FakeAnswer byToken(const FakeRequest& request) const {
    const std::int64_t cameraTime = g_get_real_time() + ahead;
    if (request.operation == "GetSystemDateAndTime") {
      return answered(timeTag(cameraTime + toldAhead));
    }
    const bool isFresh = request.token && isTrue(*request.token) &&
                         std::abs(*readDateTime(request.token->created) - cameraTime) < 5 * SECOND;
    return isFresh ? answered(Tag("tds:GetDeviceInformationResponse")) : refused();
  }

  static FakeAnswer refused() { return faulted(notAuthorized(), 400); }

  std::vector<std::string> operations() const {
    std::vector<std::string> names;
    for (const FakeRequest& request : camera->requests) {
      names.push_back(request.operation);
    }
    return names;
  }

  std::int64_t ahead = 0;      // the camera's clock, of ours
  std::int64_t toldAhead = 0;  // what it says, of that
  std::unique_ptr<FakeCamera> camera;
  std::unique_ptr<CameraCalls> calls;
};

TEST_F(CameraCallsTest, TokenHasTheCamerasTimeWhichIsAskedForOnce) {
  ahead = -HOUR;
  start([this](const FakeRequest& request) { return byToken(request); });
  EXPECT_TRUE(call().ok());
  EXPECT_TRUE(call().ok());
  EXPECT_THAT(operations(),
              ElementsAre("GetSystemDateAndTime", "GetDeviceInformation", "GetDeviceInformation"));
  EXPECT_FALSE(camera->requests[0].token) << "the time is there for everybody";
  EXPECT_NE(camera->requests[1].token->nonce, camera->requests[2].token->nonce);
  EXPECT_NEAR(-3600.0, static_cast<double>(calls->getClock().getAhead()) / SECOND, 2);
}

TEST_F(CameraCallsTest, ClockThatWasSetIsAskedForAnew) {
  start([this](const FakeRequest& request) { return byToken(request); });
  EXPECT_TRUE(call().ok());
  ahead = HOUR;
  EXPECT_TRUE(call().ok());
  EXPECT_THAT(operations(),
              ElementsAre("GetSystemDateAndTime", "GetDeviceInformation", "GetDeviceInformation",
                          "GetSystemDateAndTime", "GetDeviceInformation"));
}

TEST_F(CameraCallsTest, LocalTimeThatIsToldAsUtcGivesWayToThatOfHttp) {
  toldAhead = 10 * HOUR;
  start([this](const FakeRequest& request) { return byToken(request); });
  EXPECT_TRUE(call().ok());
  EXPECT_TRUE(call().ok());
  EXPECT_EQ(6U, camera->requests.size()) << "and stays so";
}

TEST_F(CameraCallsTest, WrongPasswordIsToldAfterAllWaysAreTried) {
  start([this](const FakeRequest& request) { return byToken(request); }, "guess");
  const SoapReply reply = call();
  ASSERT_FALSE(reply.ok());
  EXPECT_EQ(Trouble::password, reply.failure().trouble);
  EXPECT_THAT(reply.failure().words, HasSubstr("password"));
  EXPECT_FALSE(camera->requests.back().token);
}

TEST_F(CameraCallsTest, CameraThatWantsADigestGetsItFromThenOn) {
  start([](const FakeRequest& request) -> FakeAnswer {
    if (request.operation == "GetSystemDateAndTime") {
      return answered(timeTag(g_get_real_time()));
    }
    if (!request.authorization.starts_with("Digest ")) {
      return {.status = 401, .body = "", .challenge = CHALLENGE};
    }
    return request.token ? refused() : answered(Tag("tds:GetDeviceInformationResponse"));
  });
  EXPECT_TRUE(call().ok());
  const std::size_t first = camera->requests.size();
  EXPECT_THAT(camera->requests.back().authorization, HasSubstr("username=\"anna\""));
  EXPECT_TRUE(call().ok());
  EXPECT_EQ(first + 1, camera->requests.size());
  EXPECT_FALSE(camera->requests.back().token) << "not both at once";
}

TEST_F(CameraCallsTest, WrongPasswordByDigestIsTold) {
  start([](const FakeRequest& request) -> FakeAnswer {
    if (request.operation == "GetSystemDateAndTime") {
      return answered(timeTag(g_get_real_time()));
    }
    return {.status = 401, .body = "", .challenge = CHALLENGE};
  });
  EXPECT_EQ(Trouble::password, call().failure().trouble);
}

TEST_F(CameraCallsTest, PasswordIsNeverSentInClear) {
  start([](const FakeRequest&) -> FakeAnswer {
    return {.status = 401, .body = "", .challenge = "Basic realm=\"camera\""};
  });
  EXPECT_EQ(Trouble::password, call().failure().trouble);
  for (const FakeRequest& request : camera->requests) {
    EXPECT_EQ("", request.authorization);
  }
}

TEST_F(CameraCallsTest, AddressesThatTheCameraTellsAreReachedWhereTheCameraIs) {
  start([this](const FakeRequest& request) { return byToken(request); });
  EXPECT_TRUE(call("http://10.11.12.13:99/onvif/ptz_service").ok());
  EXPECT_EQ("/onvif/ptz_service", camera->requests.back().path);
}

TEST_F(CameraCallsTest, CameraThatKeepsSilentIsGivenUp) {
  start([this](const FakeRequest& request) -> FakeAnswer {
    if (request.operation == "GetSystemDateAndTime") {
      return byToken(request);
    }
    return {.status = 200, .body = "", .challenge = "", .date = "", .isNever = true};
  });
  EXPECT_EQ(Trouble::timeOut, call("", 100).failure().trouble);
}

TEST_F(CameraCallsTest, NobodyThereIsToldInWords) {
  start([this](const FakeRequest& request) { return byToken(request); });
  const std::string url = camera->url();
  camera.reset();
  const SoapReply reply = call(url);
  EXPECT_EQ(Trouble::unreachable, reply.failure().trouble);
  EXPECT_THAT(reply.failure().words, StartsWith("The camera cannot be reached"));
}

TEST_F(CameraCallsTest, AnswersThatAreNoneAreToldInWords) {
  FakeAnswer answer;
  start([&](const FakeRequest& request) {
    return request.operation == "GetSystemDateAndTime" ? byToken(request) : answer;
  });
  answer.body = "It works!";
  EXPECT_EQ(Trouble::malformed, call().failure().trouble);
  answer.body = "";
  EXPECT_EQ(Trouble::malformed, call().failure().trouble);
  answer.body = "<!DOCTYPE a [<!ENTITY b \"c\">]><a>&b;</a>";
  EXPECT_EQ(Trouble::malformed, call().failure().trouble);
  answer.body.assign(CameraCalls::MOST_ANSWER + 1, ' ');
  EXPECT_EQ("The camera's answer is too long", call().failure().words);
}

TEST_F(CameraCallsTest, CallsThatAreOnTheirWayAtTheEndTellNothing) {
  start([this](const FakeRequest& request) { return byToken(request); });
  bool isTold = false;
  calls->call(camera->url(), Tag("tds:GetDeviceInformation"),
              [&](const SoapReply&) { isTold = true; });
  calls.reset();
  for (int i = 0; i < 20; ++i) {
    g_main_context_iteration(nullptr, FALSE);
  }
  EXPECT_FALSE(isTold);
}

TEST(SoapReplyTest, FaultsAreReadWhateverTheStatusIs) {
  for (const unsigned status : {200U, 400U, 500U}) {
    const SoapReply reply =
        readReply(status, writeEnvelope(invalidArgument("ter:NoProfile", "No such one").tag()));
    ASSERT_FALSE(reply.ok());
    EXPECT_EQ(Trouble::refused, reply.failure().trouble);
    EXPECT_THAT(reply.failure().subcodes, ElementsAre("InvalidArgVal", "NoProfile"));
    EXPECT_EQ("The camera refuses: No such one [InvalidArgVal] [NoProfile]", reply.failure().words);
  }
}

TEST(SoapReplyTest, WhatACameraDoesNotHaveIsMissing) {
  const auto isMissing = [](unsigned status, const std::string& body) {
    const SoapReply reply = readReply(status, body);
    return !reply.ok() && reply.failure().trouble == Trouble::missing;
  };
  EXPECT_TRUE(isMissing(404, "Not found"));
  EXPECT_TRUE(isMissing(405, ""));
  for (const char* subcode : {"ter:ActionNotSupported", "ter:UnknownAction"}) {
    EXPECT_TRUE(isMissing(500, writeEnvelope(Fault(FaultCode::receiver, {subcode}, "No").tag())))
        << subcode;
  }
}

TEST(ReachedAtTest, HostAndPortAreThoseThatReachedTheCamera) {
  constexpr char REACHED[] = "http://192.168.1.5:8081/onvif/device_service";
  EXPECT_EQ("http://192.168.1.5:8081/onvif/ptz?a=b",
            reachedAt("http://10.0.0.1/onvif/ptz?a=b", REACHED));
  EXPECT_EQ("rtsp://192.168.1.5:8554/overview1",
            reachedAt("rtsp://camera.local:8554/overview1", REACHED))
      << "another protocol has a port of its own";
  EXPECT_EQ("rtsp://192.168.1.5/overview1", reachedAt("rtsp://10.0.0.1/overview1", REACHED));
  EXPECT_EQ("nonsense", reachedAt("nonsense", REACHED));
}

// A vector of its own: nonce 00 to 0f, this time, this password.
TEST(UserTokenTagTest, DigestIsThatOfNonceTimeAndPassword) {
  std::string nonce;
  for (char byte = 0; byte < 16; ++byte) {
    nonce += byte;
  }
  const Envelope envelope = readEnvelope(writeEnvelope(
      Tag("tds:GetScopes"), {userTokenTag("user", "pass", nonce, "2026-01-01T12:00:00.000Z")}));
  ASSERT_TRUE(envelope.token);
  EXPECT_EQ("user", envelope.token->user);
  EXPECT_EQ("FSjqpIwtMZauG5JawojqwxCt5eU=", envelope.token->digest);
  EXPECT_EQ(nonce, envelope.token->nonce);
  EXPECT_EQ("2026-01-01T12:00:00.000Z", envelope.token->created);
}

}  // namespace
}  // namespace device::onvif
