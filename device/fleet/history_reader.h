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

#include "base/mutex.h"
#include "web_server/web_server.h"

namespace device {

// Who may read what a node of the cluster has kept; the node is on this machine.
struct HistoryAccess {
  std::uint16_t port = 0;
  std::string password;
};

// Reads the last alarms out of the stream in which a cluster keeps them, on a thread of its own;
// each question with a connection of its own. What it answers is
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

  // Of one answer; with the first of them nothing more is read.
  struct Bounds {
    std::uint64_t messages = 100000;
    std::chrono::milliseconds time = std::chrono::seconds(2);
  };

  explicit HistoryReader(HistoryAccess access) : HistoryReader(std::move(access), Bounds()) {}
  HistoryReader(HistoryAccess access, Bounds bounds);
  HistoryReader(const HistoryReader&) = delete;
  HistoryReader& operator=(const HistoryReader&) = delete;

  // Waits for the answer that is on its way, some seconds at most; nobody is told it.
  ~HistoryReader();

  // The alarms of one site; of all for an empty name, which has to be a site's otherwise.
  void ask(const std::string& site, WebServer::Reply reply);

  // Replies to who has asked what is answered by now.
  void deliver();

 private:
  void run();
  std::optional<std::string> nextQuestion() EXCLUDES(mutex);
  WebAnswer read(const std::string& site) const;

  const HistoryAccess access;
  const Bounds bounds;
  std::map<std::string, std::vector<WebServer::Reply>> waiting;  // by site
  std::size_t waitingCount = 0;
  Mutex mutex;
  Condition changed;
  bool stopping GUARDED_BY(mutex) = false;
  std::deque<std::string> questions GUARDED_BY(mutex);
  std::vector<std::pair<std::string, WebAnswer>> answers GUARDED_BY(mutex);
  std::thread thread;
};

}  // namespace device

#endif
