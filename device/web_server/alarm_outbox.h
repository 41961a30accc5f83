#ifndef DEVICE_WEB_SERVER_ALARM_OUTBOX_H
#define DEVICE_WEB_SERVER_ALARM_OUTBOX_H

#include <sqlite3.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace device {

// Alarms on their way to a broker, in their order, until it has acknowledged them, and the topics
// under which it may hold values. They outlive the process in a file, however it ends; a machine
// that loses its power may lose those of the last seconds. While the file cannot be written, for
// want of room, they are held in memory, and written once that is possible. Not for several threads
// at once.
class AlarmOutbox {
 public:
  struct Alarm {
    std::int64_t id = 0;
    std::string topic;
    std::string payload;
  };

  static constexpr std::size_t LIMIT = 1000;

  // An empty path: memory only. A file that is damaged is put aside under another name. Throws
  // std::runtime_error when the file cannot be made or belongs to another process.
  explicit AlarmOutbox(const std::filesystem::path& path, std::size_t limit = LIMIT);

  // The oldest one is given up when there are more than the limit. Returns the alarm's id.
  std::int64_t append(const std::string& topic, const std::string& payload);

  // Unknown ids are ignored.
  void acknowledge(const std::vector<std::int64_t>& ids);

  const std::deque<Alarm>& getWaiting() const { return waiting; }

  // A value of that topic is told, or holds no more.
  void keepTopic(const std::string& topic);
  void forgetTopics(const std::vector<std::string>& gone);

  // Those that were kept and not forgotten, by earlier processes, too.
  const std::set<std::string>& getTopics() const { return topics; }

  // Given up since the file was made.
  std::uint64_t getDropped() const { return dropped; }

  // What the user should know since the last call.
  std::vector<std::string> takeNews();

 private:
  struct FileCloser {
    void operator()(sqlite3* file) const { sqlite3_close(file); }
  };
  struct StatementDeleter {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, StatementDeleter>;

  void open();
  void openOnce();
  void putAside();
  void load();
  void dropOldest();
  void forget(std::int64_t id);
  void store();
  void storeChanges();

  // These throw std::runtime_error.
  void execute(const char* sql);
  Statement prepare(std::string_view sql);
  void write(std::string_view sql, const std::vector<std::int64_t>& numbers,
             const std::vector<std::string>& texts = {});
  [[noreturn]] void fail() const;

  const std::filesystem::path path;
  const std::size_t limit;
  std::unique_ptr<sqlite3, FileCloser> file;
  std::deque<Alarm> waiting;
  std::int64_t lastId = 0;
  std::uint64_t dropped = 0;
  // What the file does not know yet: alarms that it lacks, those that it still has, and whether
  // more were given up.
  std::set<std::int64_t> lacking;
  std::set<std::int64_t> surplus;
  bool droppedMore = false;
  std::set<std::string> topics;
  std::set<std::string> changedTopics;  // those that the file has otherwise
  bool isFaulty = false;
  std::vector<std::string> news;
};

}  // namespace device

#endif
