#ifndef DEVICE_FLEET_HISTORY_READER_H
#define DEVICE_FLEET_HISTORY_READER_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/json_auto_ptr.h"
#include "base/mutex.h"
#include "web_server/web_server.h"

namespace device {

// Who may read what a node of the cluster has kept; the node is on this machine.
struct HistoryAccess {
  std::uint16_t port = 0;
  std::string password;
};

// Reads the last alarms out of the stream in which a cluster keeps them, for so many questions at a
// time on threads of its own; each question with a connection of its own. What it answers is
//
//   200  {"since":"2026-01-01T12:00:00.000Z","alarms":[...]}: the last MOST ones, the latest last
//        (alarmEntry); before that time there may be more
//   503  {"error":{"message":"..."}}: the node does not answer, or keeps nothing
//
// Its functions are for one thread.
class HistoryReader {
 public:
  static constexpr std::size_t MOST = 500;
  static constexpr std::size_t MOST_WAITING = 64;  // questions
  static constexpr std::size_t READERS = 4;        // that are read at the same time

  // Of one answer; with the first of them nothing more is read.
  struct Bounds {
    std::uint64_t messages = 100000;
    std::chrono::milliseconds time = std::chrono::seconds(2);
    std::chrono::milliseconds answer = std::chrono::seconds(2);  // of the node, to one question
  };

  explicit HistoryReader(HistoryAccess access) : HistoryReader(std::move(access), Bounds()) {}
  HistoryReader(HistoryAccess access, Bounds bounds);
  HistoryReader(const HistoryReader&) = delete;
  HistoryReader& operator=(const HistoryReader&) = delete;

  // Waits for the answers that are on their way, some seconds at most; nobody is told them.
  ~HistoryReader();

  // The alarms of one site; of all for an empty name, which has to be a site's otherwise.
  void ask(const std::string& site, WebServer::Reply reply);

  // Everything that was kept of all sites since that time (isoTime), however much, in its bounds
  // (alarmEntry); each alarm's by number. Null when it cannot be read.
  using Alarms = std::vector<JsonAutoPtr>;
  void askSince(const std::string& time, std::function<void(const Alarms*)> take);

  // Replies to who has asked what is answered by now.
  void deliver();

 private:
  struct Question {
    std::string site;   // empty: of all
    std::string since;  // empty: the last ones

    auto operator<=>(const Question&) const = default;
  };
  struct Answer {
    WebAnswer page;
    std::optional<Alarms> alarms;  // instead of a page, where a time was asked for
  };
  using Done = std::function<void(const Answer&)>;

  void ask(const Question& question, Done done);
  void run();
  std::optional<Question> nextQuestion() EXCLUDES(mutex);
  Answer read(const Question& question) const;

  const HistoryAccess access;
  const Bounds bounds;
  std::map<Question, std::vector<Done>> waiting;
  std::size_t waitingCount = 0;
  Mutex mutex;
  Condition changed;
  bool stopping GUARDED_BY(mutex) = false;
  std::deque<Question> questions GUARDED_BY(mutex);
  std::vector<std::pair<Question, Answer>> answers GUARDED_BY(mutex);
  std::vector<std::thread> threads;
};

}  // namespace device

#endif
