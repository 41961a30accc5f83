#include "ovhttp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/local_socket.h"
#include "ovhttp/http_server.h"
#include "ovhttp/wire.h"
#include "support/temporary_folder.h"

namespace {

using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

using Bytes = std::vector<std::uint8_t>;

// What a callback was given.
struct Given {
  std::string path;
  std::string method;
  std::optional<std::string> query;
  std::vector<std::pair<std::string, std::string>> parameters;
};

// The application: keeps what it is given and writes an answer.
class Application {
 public:
  static void onRequest(const char* path, const char* method, const char* query,
                        GHashTable* parameters, GOutputStream* out, void* userData) {
    auto* self = static_cast<Application*>(userData);
    EXPECT_EQ(1, ++self->running);
    Given given{path, method, std::nullopt, {}};
    if (query != nullptr) {
      given.query = query;
    }
    GHashTableIter iter;
    g_hash_table_iter_init(&iter, parameters);
    gpointer key = nullptr;
    gpointer value = nullptr;
    while (g_hash_table_iter_next(&iter, &key, &value)) {
      given.parameters.emplace_back(static_cast<char*>(key), static_cast<char*>(value));
    }
    self->given.push_back(std::move(given));
    if (self->during) {
      self->during();
    }
    EXPECT_TRUE(g_output_stream_write_all(out, self->answer.data(), self->answer.size(), nullptr,
                                          nullptr, nullptr));
    --self->running;
  }

  std::string answer = "Status: 200 OK\r\n\r\nfine";
  std::vector<Given> given;
  std::function<void()> during;

 private:
  std::atomic<int> running = 0;
};

HttpRequest get(const char* path) {
  return {path, "GET", std::nullopt, {}, ""};
}

HttpRequest post(std::string body) {
  return {"/api", "POST", std::nullopt, {}, std::move(body)};
}

std::string readToEnd(const FileDescriptor& stream) {
  std::string text;
  char buffer[4096];
  for (ssize_t size = 0; (size = recv(stream.get(), buffer, sizeof(buffer), 0)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(size));
  }
  return text;
}

class HttpServerTest : public testing::Test {
 protected:
  HttpServerTest() : server(start()) { EXPECT_NE(nullptr, server); }

  std::unique_ptr<HttpServer> start() {
    return HttpServer::create(path, &Application::onRequest, &application);
  }

  FileDescriptor connect() const {
    FileDescriptor stream = local_socket::connectTo(path);
    EXPECT_TRUE(stream.isOpen());
    return stream;
  }

  // A server may end the stream before it has read everything.
  std::string exchange(const Bytes& bytes) const {
    const FileDescriptor stream = connect();
    local_socket::sendAll(stream.get(), bytes);
    shutdown(stream.get(), SHUT_WR);
    return readToEnd(stream);
  }

  std::string exchange(const HttpRequest& request) const {
    return exchange(encodeHttpRequest(request).value());
  }

  TemporaryFolder folder;
  const std::string path = folder / "http/app";
  Application application;
  std::unique_ptr<HttpServer> server;
};

TEST_F(HttpServerTest, HandsOnAGet) {
  exchange({"/api/app", "GET", "a=1&b=%41", {{"a", "1"}, {"b", "A"}}, ""});
  ASSERT_EQ(1U, application.given.size());
  const Given& given = application.given[0];
  EXPECT_EQ("/api/app", given.path);
  EXPECT_EQ("GET", given.method);
  EXPECT_EQ("a=1&b=%41", given.query);
  EXPECT_THAT(given.parameters, UnorderedElementsAre(Pair("a", "1"), Pair("b", "A")));
}

TEST_F(HttpServerTest, AnAbsentQueryIsNotAnEmptyOne) {
  exchange(get("/"));
  exchange({"/", "GET", "", {}, ""});
  EXPECT_EQ(std::nullopt, application.given.at(0).query);
  EXPECT_EQ("", application.given.at(1).query);
}

TEST_F(HttpServerTest, HandsOnTheBodyOfAPost) {
  exchange({"/", "POST", "a=1", {{"a", "1"}}, "{\"k\": 1}"});
  EXPECT_EQ("POST", application.given.at(0).method);
  EXPECT_THAT(application.given.at(0).parameters,
              UnorderedElementsAre(Pair("a", "1"), Pair(OV_HTTP_BODY, "{\"k\": 1}")));
}

TEST_F(HttpServerTest, AnEmptyBodyIsABody) {
  exchange(post(""));
  EXPECT_THAT(application.given.at(0).parameters, UnorderedElementsAre(Pair(OV_HTTP_BODY, "")));
}

TEST_F(HttpServerTest, ABodyEndsAtItsFirstZero) {
  exchange(post(std::string("ab\0cd", 5)));
  EXPECT_THAT(application.given.at(0).parameters, UnorderedElementsAre(Pair(OV_HTTP_BODY, "ab")));
}

TEST_F(HttpServerTest, AGetHasNoBody) {
  exchange({"/", "GET", std::nullopt, {}, "body"});
  EXPECT_THAT(application.given.at(0).parameters, IsEmpty());
}

TEST_F(HttpServerTest, NoFieldPassesForTheBody) {
  exchange({"/", "GET", "%01body=x", {{OV_HTTP_BODY, "x"}}, ""});
  EXPECT_THAT(application.given.at(0).parameters, IsEmpty());
}

TEST_F(HttpServerTest, OfEqualFieldsTheLastOneCounts) {
  exchange({"/", "GET", "a=1&a=2", {{"a", "1"}, {"a", "2"}}, ""});
  EXPECT_THAT(application.given.at(0).parameters, UnorderedElementsAre(Pair("a", "2")));
}

TEST_F(HttpServerTest, BytesThatAreNoTextAreHandedOn) {
  exchange({"/\xff", "POST", "\xfe=\xfd", {{"\xfe", "\xfd"}}, "\xfc"});
  EXPECT_EQ("/\xff", application.given.at(0).path);
  EXPECT_THAT(application.given.at(0).parameters,
              UnorderedElementsAre(Pair("\xfe", "\xfd"), Pair(OV_HTTP_BODY, "\xfc")));
}

TEST_F(HttpServerTest, TheAnswerIsWhatTheCallbackWrote) {
  EXPECT_EQ("Status: 200 OK\r\n\r\nfine", exchange(get("/")));
  application.answer = std::string("a\0\xff", 3) + std::string(2'000'000, 'x');
  EXPECT_EQ(application.answer, exchange(get("/")));
}

TEST_F(HttpServerTest, ACallbackThatWritesNothingLeavesTheRequestUnanswered) {
  application.answer = "";
  EXPECT_EQ("", exchange(get("/")));
  server.reset();  // nothing was received that comes after what the callback noted
  EXPECT_EQ(1U, application.given.size());
}

TEST_F(HttpServerTest, ABodyOfAlmostFourMiBIsHandedOn) {
  const std::string body(MAX_HTTP_REQUEST_SIZE - 100, 'b');
  EXPECT_EQ("Status: 200 OK\r\n\r\nfine", exchange(post(body)));
  EXPECT_EQ(body, application.given.at(0).parameters.at(0).second);
}

TEST_F(HttpServerTest, RequestsAreAnsweredOneAtATime) {
  std::vector<std::future<std::string>> answers;
  for (int client = 0; client < 8; ++client) {
    answers.push_back(std::async(std::launch::async, [this] { return exchange(get("/")); }));
  }
  for (auto& answer : answers) {
    EXPECT_EQ("Status: 200 OK\r\n\r\nfine", answer.get());
  }
  EXPECT_EQ(8U, application.given.size());
}

TEST_F(HttpServerTest, WhatIsNoRequestIsNotAnsweredAndTheNextOneIs) {
  const Bytes whole = encodeHttpRequest(post("body")).value();
  const Bytes cut(whole.begin(), whole.end() - 1);
  Bytes garbled = whole;
  for (std::size_t i = HTTP_LENGTH_SIZE; i < garbled.size(); ++i) {
    garbled[i] = 0xff;
  }
  EXPECT_EQ("", exchange(Bytes()));
  EXPECT_EQ("", exchange(Bytes{0, 0}));
  EXPECT_EQ("", exchange(Bytes{0, 0, 0, 0}));
  EXPECT_EQ("", exchange(cut));
  EXPECT_EQ("", exchange(garbled));
  EXPECT_EQ("", exchange(HttpRequest{"/", "PUT", std::nullopt, {}, ""}));
  EXPECT_THAT(application.given, IsEmpty());
  EXPECT_EQ("Status: 200 OK\r\n\r\nfine", exchange(whole));
}

TEST_F(HttpServerTest, ALengthAboveTheLimitIsRefusedAtOnce) {
  const FileDescriptor stream = connect();
  const Bytes head = {0, 0x40, 0, 1};
  ASSERT_TRUE(local_socket::sendAll(stream.get(), head));
  EXPECT_EQ("", readToEnd(stream));  // although nothing follows
}

TEST_F(HttpServerTest, AClientThatStopsInTheMiddleHoldsTheOthersUpForATimeOnly) {
  server.reset();
  server = HttpServer::create(path, &Application::onRequest, &application,
                              std::chrono::milliseconds(1500));
  const FileDescriptor stopped = connect();
  ASSERT_TRUE(local_socket::sendAll(stopped.get(), Bytes{0, 0}));
  EXPECT_EQ("", readToEnd(stopped));
  EXPECT_EQ("Status: 200 OK\r\n\r\nfine", exchange(get("/")));
}

TEST_F(HttpServerTest, AClientThatDoesNotReadHoldsTheOthersUpForATimeOnly) {
  server.reset();
  server = HttpServer::create(path, &Application::onRequest, &application,
                              std::chrono::milliseconds(1500));
  application.answer = std::string(2'000'000, 'x');
  const FileDescriptor stopped = connect();
  ASSERT_TRUE(local_socket::sendAll(stopped.get(), encodeHttpRequest(get("/")).value()));
  EXPECT_EQ(application.answer, exchange(get("/")));
}

TEST_F(HttpServerTest, AClientThatLeavesEarlyHurtsNobody) {
  application.answer = std::string(2'000'000, 'x');
  std::promise<void> entered;
  std::promise<void> gate;
  application.during = [&] {
    entered.set_value();
    gate.get_future().wait();
  };
  {
    const FileDescriptor stream = connect();
    local_socket::sendAll(stream.get(), encodeHttpRequest(get("/")).value());
    entered.get_future().wait();
  }
  application.during = nullptr;
  gate.set_value();
  EXPECT_EQ(application.answer, exchange(get("/")));
}

TEST_F(HttpServerTest, TheEndWaitsForTheRequestThatIsBeingAnswered) {
  std::promise<void> entered;
  std::promise<void> gate;
  std::atomic<bool> hasLeft = false;
  application.during = [&] {
    entered.set_value();
    gate.get_future().wait();
    hasLeft = true;
  };
  std::future<std::string> answer =
      std::async(std::launch::async, [this] { return exchange(get("/")); });
  entered.get_future().wait();
  std::future<bool> leftBeforeEnd = std::async(std::launch::async, [&] {
    server.reset();
    return hasLeft.load();
  });
  EXPECT_EQ(std::future_status::timeout, leftBeforeEnd.wait_for(std::chrono::milliseconds(100)));
  gate.set_value();
  EXPECT_TRUE(leftBeforeEnd.get());
  EXPECT_EQ("Status: 200 OK\r\n\r\nfine", answer.get());
}

TEST_F(HttpServerTest, TheEndDoesNotWaitForARequestThatHasNotCome) {
  const FileDescriptor silent = connect();
  local_socket::sendAll(silent.get(), Bytes{0, 0});
  server.reset();
  EXPECT_EQ("", readToEnd(silent));
}

TEST_F(HttpServerTest, TheEndRemovesTheSocket) {
  EXPECT_TRUE(std::filesystem::is_socket(path));
  server.reset();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(HttpServerTest, ASocketLeftBehindIsReplaced) {
  server.reset();
  local_socket::listenAt(path).reset();  // as of a process that was killed
  ASSERT_TRUE(std::filesystem::is_socket(path));
  server = start();
  ASSERT_NE(nullptr, server);
  EXPECT_EQ("Status: 200 OK\r\n\r\nfine", exchange(get("/")));
}

TEST_F(HttpServerTest, ASocketInUseStaysWhoseItIs) {
  EXPECT_EQ(nullptr, start());
  EXPECT_EQ("Status: 200 OK\r\n\r\nfine", exchange(get("/")));
}

TEST_F(HttpServerTest, AFileThatIsNoSocketIsLeftAlone) {
  server.reset();
  std::ofstream(path) << "precious";
  EXPECT_EQ(nullptr, start());
  EXPECT_EQ(8U, std::filesystem::file_size(path));
}

TEST_F(HttpServerTest, AFolderThatCannotBeMadeIsAFailure) {
  std::ofstream(folder / "file") << "no folder";
  EXPECT_EQ(nullptr,
            HttpServer::create(folder / "file/http/app", &Application::onRequest, nullptr));
}

TEST_F(HttpServerTest, APathThatIsTooLongIsAFailure) {
  const std::string name(200, 'n');
  EXPECT_EQ(nullptr, HttpServer::create(folder / name.c_str(), &Application::onRequest, nullptr));
}

TEST(HttpHandlerTest, WithoutACallbackThereIsNoHandler) {
  EXPECT_EQ(nullptr, ov_http_handler_new(nullptr, nullptr));
}

// ---- The wire ----

bool operator==(const HttpRequest& a, const HttpRequest& b) {
  return a.path == b.path && a.method == b.method && a.query == b.query && a.fields == b.fields &&
         a.body == b.body;
}

std::optional<HttpRequest> decodeWhole(const Bytes& bytes) {
  return decodeHttpRequest(std::span(bytes).subspan(HTTP_LENGTH_SIZE));
}

TEST(HttpWireTest, RequestsSurviveTheRoundTrip) {
  const std::vector<HttpRequest> requests = {
      get("/"),
      {"", "", "", {}, ""},
      {"/a/b", "POST", "x=1", {{"x", "1"}, {"x", ""}, {"", "y"}}, std::string("\0z\0", 3)}};
  for (const HttpRequest& request : requests) {
    const Bytes bytes = encodeHttpRequest(request).value();
    EXPECT_EQ(bytes.size() - HTTP_LENGTH_SIZE,
              httpRequestLength(std::span(bytes).first<HTTP_LENGTH_SIZE>()));
    const std::optional<HttpRequest> decoded = decodeWhole(bytes);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(*decoded == request);
  }
}

TEST(HttpWireTest, TheLengthIsBigEndian) {
  const Bytes bytes = {0x01, 0x02, 0x03, 0x04};
  EXPECT_EQ(0x01020304U, httpRequestLength(std::span(bytes).first<HTTP_LENGTH_SIZE>()));
}

TEST(HttpWireTest, ARequestAboveFourMiBIsNotEncoded) {
  const std::size_t rest =
      encodeHttpRequest(post(std::string(MAX_HTTP_REQUEST_SIZE - 100, 'b'))).value().size() -
      HTTP_LENGTH_SIZE - (MAX_HTTP_REQUEST_SIZE - 100);
  const std::size_t most = MAX_HTTP_REQUEST_SIZE - rest;
  EXPECT_EQ(MAX_HTTP_REQUEST_SIZE + HTTP_LENGTH_SIZE,
            encodeHttpRequest(post(std::string(most, 'b'))).value().size());
  EXPECT_EQ(std::nullopt, encodeHttpRequest(post(std::string(most + 1, 'b'))));
}

TEST(HttpWireTest, MutatedRequestsDecodeOrAreRefused) {
  std::mt19937 random(4711);
  const Bytes valid =
      encodeHttpRequest({"/a/b", "POST", "x=1", {{"x", "1"}, {"y", "2"}}, "body"}).value();
  int refused = 0;
  for (int round = 0; round < 20'000; ++round) {
    Bytes bytes(valid.begin() + HTTP_LENGTH_SIZE, valid.end());
    for (std::size_t changes = 1 + random() % 3; changes > 0; --changes) {
      bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
    }
    bytes.resize(random() % 4 == 0 ? random() % bytes.size() : bytes.size());
    bytes.shrink_to_fit();
    if (!decodeHttpRequest(bytes)) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 0);
}

}  // namespace
