#include "web_server/alarm_outbox.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace device {

namespace {

constexpr int PATIENCE_MS = 5000;  // for an earlier process that is about to end

// A log in front of the file makes each change whole without waiting for the disk. Nobody else may
// have the file: two devices would send each other's alarms.
constexpr char SETTINGS[] =
    "PRAGMA locking_mode = EXCLUSIVE;"
    "PRAGMA journal_mode = WAL;"
    "PRAGMA synchronous = NORMAL;"
    "PRAGMA wal_autocheckpoint = 256;";  // pages: the log stays within a MiB
constexpr char TABLES[] =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS alarm"
    " (id INTEGER PRIMARY KEY, topic TEXT NOT NULL, payload TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS dropped (id INTEGER PRIMARY KEY, count INTEGER NOT NULL);"
    "CREATE TABLE IF NOT EXISTS topic (name TEXT PRIMARY KEY) WITHOUT ROWID;"
    "COMMIT;";

bool isDamage(int code) {
  return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

std::string textOf(sqlite3_stmt* row, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
  return text != nullptr
             ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(row, column)))
             : std::string();
}

}  // namespace

AlarmOutbox::AlarmOutbox(const std::filesystem::path& path, std::size_t limit)
    : path(path), limit(limit) {
  if (!path.empty()) {
    open();
  }
}

std::int64_t AlarmOutbox::append(const std::string& topic, const std::string& payload) {
  waiting.push_back({++lastId, topic, payload});
  lacking.insert(lastId);
  while (waiting.size() > limit) {
    dropOldest();
  }
  store();
  return lastId;
}

void AlarmOutbox::acknowledge(const std::vector<std::int64_t>& ids) {
  for (const std::int64_t id : ids) {
    const auto found = std::ranges::lower_bound(waiting, id, {}, &Alarm::id);
    if (found != waiting.end() && found->id == id) {
      waiting.erase(found);
      forget(id);
    }
  }
  store();
}

void AlarmOutbox::keepTopic(const std::string& topic) {
  if (topics.insert(topic).second) {
    changedTopics.insert(topic);
    store();
  }
}

void AlarmOutbox::forgetTopics(const std::vector<std::string>& gone) {
  for (const std::string& topic : gone) {
    if (topics.erase(topic) > 0) {
      changedTopics.insert(topic);
    }
  }
  store();
}

std::vector<std::string> AlarmOutbox::takeNews() {
  return std::exchange(news, {});
}

void AlarmOutbox::dropOldest() {
  forget(waiting.front().id);
  waiting.pop_front();
  ++dropped;
  droppedMore = true;
}

void AlarmOutbox::forget(std::int64_t id) {
  if (lacking.erase(id) == 0) {
    surplus.insert(id);
  }
}

void AlarmOutbox::open() {
  try {
    openOnce();
  } catch (const std::runtime_error&) {
    if (!file || !isDamage(sqlite3_errcode(file.get()))) {
      throw;
    }
    putAside();
    openOnce();
  }
}

void AlarmOutbox::openOnce() {
  waiting.clear();
  lacking.clear();
  surplus.clear();
  topics.clear();
  sqlite3* opened = nullptr;
  const int result = sqlite3_open(path.c_str(), &opened);
  file.reset(opened);
  if (result != SQLITE_OK) {
    fail();
  }
  sqlite3_busy_timeout(opened, PATIENCE_MS);
  execute(SETTINGS);
  execute(TABLES);
  load();
}

void AlarmOutbox::putAside() {
  file.reset();
  const std::filesystem::path aside = path.string() + ".damaged";
  std::error_code ignored;
  std::filesystem::rename(path, aside, ignored);
  for (const char* suffix : {"-wal", "-shm"}) {
    std::filesystem::remove(path.string() + suffix, ignored);
  }
  news.push_back("Waiting alarms could not be read and were put aside: " + aside.string());
}

void AlarmOutbox::load() {
  const Statement alarms = prepare("SELECT id, topic, payload FROM alarm ORDER BY id");
  int result = SQLITE_ROW;
  while ((result = sqlite3_step(alarms.get())) == SQLITE_ROW) {
    lastId = sqlite3_column_int64(alarms.get(), 0);
    waiting.push_back({lastId, textOf(alarms.get(), 1), textOf(alarms.get(), 2)});
  }
  if (result != SQLITE_DONE) {
    fail();
  }
  const Statement names = prepare("SELECT name FROM topic");
  while ((result = sqlite3_step(names.get())) == SQLITE_ROW) {
    topics.insert(textOf(names.get(), 0));
  }
  if (result != SQLITE_DONE) {
    fail();
  }
  const Statement count = prepare("SELECT count FROM dropped");
  if (sqlite3_step(count.get()) == SQLITE_ROW) {
    dropped = static_cast<std::uint64_t>(sqlite3_column_int64(count.get(), 0));
  }
}

void AlarmOutbox::store() {
  if (!file) {
    return;
  }
  try {
    storeChanges();
    isFaulty = false;
  } catch (const std::runtime_error& error) {
    sqlite3_exec(file.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    if (!std::exchange(isFaulty, true)) {
      news.push_back(std::string(error.what()) + "; alarms wait in memory");
    }
  }
}

void AlarmOutbox::storeChanges() {
  if (lacking.empty() && surplus.empty() && !droppedMore && changedTopics.empty()) {
    return;
  }
  execute("BEGIN IMMEDIATE");
  for (const std::int64_t id : surplus) {
    write("DELETE FROM alarm WHERE id = ?", {id});
  }
  for (const Alarm& alarm : waiting) {
    if (lacking.contains(alarm.id)) {
      write("INSERT INTO alarm (id, topic, payload) VALUES (?, ?, ?)", {alarm.id},
            {alarm.topic, alarm.payload});
    }
  }
  for (const std::string& topic : changedTopics) {
    write(topics.contains(topic) ? "INSERT OR IGNORE INTO topic (name) VALUES (?)"
                                 : "DELETE FROM topic WHERE name = ?",
          {}, {topic});
  }
  if (droppedMore) {
    write("INSERT OR REPLACE INTO dropped (id, count) VALUES (1, ?)",
          {static_cast<std::int64_t>(dropped)});
  }
  execute("COMMIT");
  lacking.clear();
  surplus.clear();
  droppedMore = false;
  changedTopics.clear();
}

void AlarmOutbox::execute(const char* sql) {
  if (sqlite3_exec(file.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    fail();
  }
}

AlarmOutbox::Statement AlarmOutbox::prepare(std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(file.get(), sql.data(), static_cast<int>(sql.size()), &statement,
                         nullptr) != SQLITE_OK) {
    fail();
  }
  return Statement(statement);
}

void AlarmOutbox::write(std::string_view sql, const std::vector<std::int64_t>& numbers,
                        const std::vector<std::string>& texts) {
  const Statement statement = prepare(sql);
  int place = 0;
  for (const std::int64_t number : numbers) {
    sqlite3_bind_int64(statement.get(), ++place, number);
  }
  for (const std::string& text : texts) {
    sqlite3_bind_text(statement.get(), ++place, text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
  }
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    fail();
  }
}

void AlarmOutbox::fail() const {
  throw std::runtime_error("Waiting alarms, " + path.string() + ": " +
                           (file ? sqlite3_errmsg(file.get()) : "no memory"));
}

}  // namespace device
