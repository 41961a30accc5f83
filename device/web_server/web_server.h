#ifndef DEVICE_WEB_SERVER_WEB_SERVER_H
#define DEVICE_WEB_SERVER_WEB_SERVER_H

#include <libsoup/soup.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/glib_ptr.h"
#include "web_server/application_forwarder.h"
#include "web_server/digest_login.h"
#include "web_server/event_stream.h"
#include "web_server/lingering_refusal.h"
#include "web_server/origin_check.h"
#include "web_server/soup_message.h"
#include "web_server/static_files.h"
#include "web_server/web_connections.h"
#include "web_server/web_listener.h"
#include "web_server/web_options.h"

namespace device {

struct WebServerLimits {
  std::chrono::milliseconds answer = std::chrono::seconds(10);  // of the application
  std::chrono::microseconds heartbeat = std::chrono::seconds(15);
  std::size_t streamQueue = EventStream::QUEUE_LIMIT;  // bytes for one reader
  std::chrono::milliseconds nonce = std::chrono::minutes(5);
  ConnectionLimits connections;
};

// JSON.
struct WebAnswer {
  unsigned status = SOUP_STATUS_OK;
  std::string body;
};

// The device's web server, in the main loop of its thread: hands the application's requests to it,
// sends streams of server-sent events and gives out the files of the page. Refusals of its own are
// {"error":{"code":"HTTP","message":"..."}}:
//
//   401  no user, or a wrong password (where a user is asked for)
//   403  the request was made by a page from elsewhere
//   404  nothing there
//   405  another method than the path's
//   413  a body above 1 MiB
//   503  the application is not there, or has not answered in time; too many streams
class WebServer {
 public:
  static constexpr char METRICS_PATH[] = "/metrics";
  static constexpr std::uint16_t USUAL_PORT = 8080;
  static constexpr std::size_t MAX_BODY = std::size_t{1} << 20;  // bytes

  // Gives what a new reader of a stream is told first.
  using Opening = std::function<std::string()>;

  // application: its local socket; empty: there is none, and no path for its requests. Throws
  // std::runtime_error when the server cannot listen.
  WebServer(const WebOptions& options, std::string application, const WebServerLimits& limits = {});
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // Ends all connections; requests on their way stay without an answer.
  ~WebServer();

  // Offers a stream at a path; it lives as long as the server.
  EventStream& addStream(const std::string& path, Opening opening);

  // A page that is made anew for each reader, from what it accepts (null for no header).
  struct Page {
    const char* type = nullptr;
    std::string body;
  };
  using PageMaker = std::function<Page(const char* accept)>;
  void addPage(const std::string& path, PageMaker maker);

  // Answers what is posted to a path, given its body, in the main loop of the server's thread.
  using Answerer = std::function<WebAnswer(const std::string& body)>;
  void addAnswer(const std::string& path, Answerer answerer);

  // Answers who gets a path in its own time, in the main loop of the server's thread; query: what
  // the path is asked with, empty for nothing. A reply may be dropped before the server has gone,
  // and is not given after that.
  using Reply = std::function<void(const WebAnswer& answer)>;
  using Asked = std::function<void(const std::string& query, Reply reply)>;
  void addQuestion(const std::string& path, Asked asked);

  // Hands a request to the application as if it had come over the network, after those that came
  // before. done: null when the application did not answer.
  void ask(const std::string& body, std::function<void(const std::string* answer)> done);

  // Is told the body of each request from the network that the application has answered.
  using Observer = std::function<void(const std::string& body)>;
  void observeRequests(Observer told) { observer = std::move(told); }

  std::uint16_t port() const { return listener->port(); }

  // A request from the network that was answered, by the application or in its place.
  struct Exchange {
    const std::string& request;
    unsigned status;
    const std::string* answer;  // null when the application gave none
    double seconds;             // that it took
  };
  using AnswerObserver = std::function<void(const Exchange& exchange)>;
  void observeAnswers(AnswerObserver told) { answerObserver = std::move(told); }

  // How many there are at present.
  std::size_t countConnections() const { return connections.size(); }

  // "http://127.0.0.1:8080/"
  std::string url() const;

  // The same for who is elsewhere; empty when the server listens at every address of the machine.
  std::string urlElsewhere() const;

 private:
  struct Stream {
    Opening opening;
    std::unique_ptr<EventStream> readers;
  };

  void listen(const WebOptions& options);
  void check(SoupServerMessage* message);
  bool isMetricsReader(SoupServerMessage* message) const;
  void askForUser(SoupServerMessage* message, const std::string& challenge);
  void handle(SoupServerMessage* message, const std::string& path, GHashTable* fields);
  void forward(SoupServerMessage* message, const std::string& path, GHashTable* fields);
  static void ask(SoupServerMessage* message, const Asked& asked);
  void openStream(SoupServerMessage* message, Stream* stream);
  void sendFile(SoupServerMessage* message, const std::string& path);
  void refuseBody(SoupServerMessage* message);

  WebServerLimits limits;
  std::string address;
  const bool hasApplication;
  std::optional<DigestLogin> login;
  std::optional<OriginCheck> origins;
  StaticFiles files;
  std::map<std::string, Stream> streams;      // by path
  std::map<std::string, Answerer> answerers;  // by path
  std::map<std::string, PageMaker> pages;     // by path
  std::map<std::string, Asked> questions;     // by path
  std::optional<std::string> metricsToken;
  std::list<std::unique_ptr<LingeringRefusal>> refusals;
  WebConnections connections;
  SoupCalls calls;
  GObjectPtr<SoupServer> server;
  std::unique_ptr<WebListener> listener;
  Observer observer;
  AnswerObserver answerObserver;
  ApplicationForwarder forwarder;  // before the server in the end, as it holds on to requests
};

}  // namespace device

#endif
