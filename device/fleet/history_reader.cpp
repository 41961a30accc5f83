#include "fleet/history_reader.h"

#include <glib.h>
#include <nats/nats.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>

#include "base/glib_ptr.h"
#include "fleet/alarm_history.h"
#include "web_server/event_json.h"
#include "web_server/json_values.h"

namespace device {

namespace {

using Clock = std::chrono::steady_clock;

// Answered by any node that has a copy, also while the others are away; who makes a consumer
// instead is given one at a node that may be dead.
constexpr char QUESTION[] = "$JS.API.DIRECT.GET.ALARMS";
constexpr char READER[] = "reader";
constexpr char SEQUENCE[] = "Nats-Sequence";
constexpr char SUBJECT[] = "Nats-Subject";
constexpr char TIME[] = "Nats-Time-Stamp";
constexpr std::uint64_t FIRST_STEP = 4096;  // numbers of messages to look back
constexpr std::uint64_t GROWTH = 4;         // of the steps
constexpr std::uint64_t WALKERS = 1024;     // that ask at the same time

using OptionsPtr = std::unique_ptr<natsOptions, GDeleter<natsOptions_Destroy>>;
using ConnectionPtr = std::unique_ptr<natsConnection, GDeleter<natsConnection_Destroy>>;
using SubscriptionPtr = std::unique_ptr<natsSubscription, GDeleter<natsSubscription_Destroy>>;
using InboxPtr = std::unique_ptr<natsInbox, GDeleter<natsInbox_Destroy>>;
using MessagePtr = std::unique_ptr<natsMsg, GDeleter<natsMsg_Destroy>>;

void check(natsStatus status) {
  if (status != NATS_OK) {
    throw std::runtime_error(natsStatus_GetText(status));
  }
}

std::string headerOf(natsMsg* message, const char* name) {
  const char* value = nullptr;
  return natsMsgHeader_Get(message, name, &value) == NATS_OK ? value : "";
}

struct KeptMessage {
  std::uint64_t number = 0;  // in the stream
  std::string time;          // at which it came, to a millisecond
  std::string subject;
  std::string payload;
};

// "2026-01-01T12:00:00.123456789Z", with as many digits as are needed.
std::string inMilliseconds(const std::string& time) {
  const GDateTimePtr parsed(g_date_time_new_from_iso8601(time.c_str(), nullptr));
  return parsed ? isoTime(g_date_time_to_unix(parsed.get()) * G_USEC_PER_SEC +
                          g_date_time_get_microsecond(parsed.get()))
                : "";
}

// The stream of a node, by the numbers of its messages.
class Stream {
 public:
  Stream(const HistoryAccess& access, std::chrono::milliseconds longest)
      : patience(longest.count()) {
    natsOptions* made = nullptr;
    check(natsOptions_Create(&made));
    const OptionsPtr options(made);
    const std::string url = "nats://127.0.0.1:" + std::to_string(access.port);
    check(natsOptions_SetURL(made, url.c_str()));
    check(natsOptions_SetUserInfo(made, READER, access.password.c_str()));
    check(natsOptions_SetTimeout(made, patience));
    check(natsOptions_SetAllowReconnect(made, false));
    natsConnection* connected = nullptr;
    check(natsConnection_Connect(&connected, made));
    connection.reset(connected);
    natsInbox* created = nullptr;
    check(natsInbox_Create(&created));
    inbox.reset(created);
    natsSubscription* subscribed = nullptr;
    check(natsConnection_SubscribeSync(&subscribed, connected,
                                       (inbox.get() + std::string(".*")).c_str()));
    answers.reset(subscribed);
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  // The library's thread takes what comes for the subscription until the connection is closed.
  ~Stream() { natsConnection_Close(connection.get()); }

  // The last message of a subject; nothing when there is none.
  std::optional<KeptMessage> last(const std::string& subject) {
    ask(0, R"({"last_by_subj":")" + subject + "\"}");
    return take().second;
  }

  // The first one from that number on.
  std::optional<KeptMessage> next(std::uint64_t from, const std::string& subject) {
    askNext(0, from, subject);
    return take().second;
  }

  // All of the subject with these numbers, in no order; several ways at once, as each answer names
  // its next question. Whether it is all of them: told returns whether it wants another one. Who
  // wants none has answers to come, and nothing more to ask.
  bool each(std::uint64_t first, std::uint64_t last, const std::string& subject,
            const std::function<bool(const KeptMessage&)>& told) {
    const std::uint64_t share = (last - first) / WALKERS + 1;
    std::vector<std::uint64_t> ends;
    for (std::uint64_t begin = first; begin <= last; begin += share) {
      askNext(ends.size(), begin, subject);
      ends.push_back(std::min(begin + share - 1, last));
    }
    for (std::size_t walking = ends.size(); walking > 0;) {
      const auto [walker, message] = take();
      const std::uint64_t end = ends.at(walker);
      if (message && message->number <= end && !told(*message)) {
        return false;
      }
      if (message && message->number < end) {
        askNext(walker, message->number + 1, subject);
      } else {
        --walking;
      }
    }
    return true;
  }

 private:
  void askNext(std::size_t walker, std::uint64_t from, const std::string& subject) {
    ask(walker, R"({"seq":)" + std::to_string(from) + R"(,"next_by_subj":")" + subject + "\"}");
  }

  void ask(std::size_t walker, const std::string& question) {
    const std::string reply = std::string(inbox.get()) + '.' + std::to_string(walker);
    check(natsConnection_PublishRequestString(connection.get(), QUESTION, reply.c_str(),
                                              question.c_str()));
  }

  // Who has asked, and the message that he is given.
  std::pair<std::size_t, std::optional<KeptMessage>> take() {
    natsMsg* received = nullptr;
    check(natsSubscription_NextMsg(&received, answers.get(), patience));
    const MessagePtr message(received);
    if (natsMsg_IsNoResponders(received)) {
      throw std::runtime_error("none is kept");
    }
    const std::string to = natsMsg_GetSubject(received);
    const std::size_t walker = std::stoul(to.substr(to.rfind('.') + 1));
    const std::string number = headerOf(received, SEQUENCE);
    if (number.empty()) {
      return {walker, std::nullopt};
    }
    return {walker,
            KeptMessage{.number = std::stoull(number),
                        .time = headerOf(received, TIME),
                        .subject = headerOf(received, SUBJECT),
                        .payload = {natsMsg_GetData(received),
                                    static_cast<std::size_t>(natsMsg_GetDataLength(received))}}};
  }

  const std::int64_t patience;  // milliseconds
  ConnectionPtr connection;
  InboxPtr inbox;
  SubscriptionPtr answers;
};

std::string answerOf(const std::vector<JsonAutoPtr>& alarms, const std::string& since) {
  const JsonAutoPtr json(json_object());
  json_object_set_new(json.get(), "since", jsonText(since));
  json_t* list = json_array();
  for (const JsonAutoPtr& alarm : alarms) {
    json_array_append(list, alarm.get());
  }
  json_object_set_new(json.get(), "alarms", list);
  return lineOf(json.get());
}

std::string lastOf(const AlarmHistory& history, const std::string& since) {
  std::vector<JsonAutoPtr> alarms = history.last(HistoryReader::MOST + 1);
  if (alarms.size() <= HistoryReader::MOST) {
    return answerOf(alarms, since);
  }
  // There are more after that time than are told.
  alarms.erase(alarms.begin());
  return answerOf(alarms, textOf(alarms.front().get(), "time"));
}

std::string subjectOf(const std::string& site) {
  return "sites." + site + ".SentrelVideo.alarms.*";
}

WebAnswer refusal(const std::string& reason) {
  const JsonAutoPtr json(json_pack("{s:{s:s}}", "error", "message", reason.c_str()));
  return {SOUP_STATUS_SERVICE_UNAVAILABLE, lineOf(json.get())};
}

}  // namespace

HistoryReader::HistoryReader(HistoryAccess access, Bounds bounds)
    : access(std::move(access)), bounds(bounds) {
  for (std::size_t reader = 0; reader < READERS; ++reader) {
    threads.emplace_back(&HistoryReader::run, this);
  }
}

HistoryReader::~HistoryReader() {
  {
    const LockGuard lock(mutex);
    stopping = true;
  }
  changed.notifyAll();
  for (std::thread& thread : threads) {
    thread.join();
  }
}

void HistoryReader::ask(const std::string& site, WebServer::Reply reply) {
  ask(Question{.site = site, .since = {}},
      [reply = std::move(reply)](const Answer& answer) { reply(answer.page); });
}

void HistoryReader::askSince(const std::string& time, std::function<void(const Alarms*)> take) {
  ask(Question{.site = {}, .since = time}, [take = std::move(take)](const Answer& answer) {
    take(answer.alarms ? &*answer.alarms : nullptr);
  });
}

void HistoryReader::ask(const Question& question, Done done) {
  if (waitingCount >= MOST_WAITING) {
    return done({.page = refusal("Too many ask for the history"), .alarms = {}});
  }
  ++waitingCount;
  std::vector<Done>& asking = waiting[question];
  asking.push_back(std::move(done));
  if (asking.size() > 1) {
    return;  // the same answer serves
  }
  {
    const LockGuard lock(mutex);
    questions.push_back(question);
  }
  changed.notifyAll();
}

void HistoryReader::deliver() {
  std::vector<std::pair<Question, Answer>> answered;
  {
    const LockGuard lock(mutex);
    answered.swap(answers);
  }
  for (const auto& [question, answer] : answered) {
    const std::vector<Done> asking = std::move(waiting[question]);
    waiting.erase(question);
    waitingCount -= asking.size();
    for (const Done& done : asking) {
      done(answer);
    }
  }
}

void HistoryReader::run() {
  while (const std::optional<Question> question = nextQuestion()) {
    Answer answer = read(*question);
    const LockGuard lock(mutex);
    answers.emplace_back(*question, std::move(answer));
  }
}

// Nothing at the end.
std::optional<HistoryReader::Question> HistoryReader::nextQuestion() {
  const LockGuard lock(mutex);
  while (questions.empty() && !stopping) {
    changed.wait(mutex);
  }
  if (stopping) {
    return std::nullopt;
  }
  Question question = std::move(questions.front());
  questions.pop_front();
  return question;
}

// Further and further back, until there are enough.
HistoryReader::Answer HistoryReader::read(const Question& question) const {
  const std::string& site = question.site;
  const std::string subject = subjectOf(site.empty() ? "*" : site);
  const std::string any = subjectOf("*");
  try {
    Stream stream(access, bounds.answer);
    const std::optional<KeptMessage> first = stream.next(1, any);
    const std::optional<KeptMessage> last = stream.last(any);
    if (!first || !last) {
      return {.page = {.body = answerOf({}, isoTime(g_get_real_time()))}, .alarms = Alarms()};
    }
    const Clock::time_point enough = Clock::now() + bounds.time;
    AlarmHistory history;
    std::uint64_t count = 0;
    std::uint64_t begin = last->number + 1;
    std::string since = last->time;
    const auto hasEnough = [&] {
      return question.since.empty() ? history.last(MOST).size() >= MOST
                                    : inMilliseconds(since) < question.since;
    };
    bool isWhole = true;
    for (std::uint64_t step = FIRST_STEP;
         isWhole && begin > first->number && count < bounds.messages && Clock::now() < enough &&
         !hasEnough();
         step *= GROWTH) {
      // Of all sites, each number is a message to be read.
      const std::uint64_t most = site.empty() ? std::min(step, bounds.messages - count) : step;
      const std::uint64_t from = std::max(first->number, begin - std::min(begin, most));
      isWhole = stream.each(from, begin - 1, subject, [&](const KeptMessage& message) {
        history.take(message.subject, message.payload);
        return ++count <= bounds.messages && Clock::now() < enough;
      });
      if (isWhole) {
        begin = from;
        since = stream.next(begin, any).value_or(*last).time;
      }
    }
    if (!question.since.empty()) {
      return {.page = {}, .alarms = history.all()};
    }
    return {.page = {.body = lastOf(history, inMilliseconds(since))}, .alarms = {}};
  } catch (const std::exception& error) {
    return {.page = refusal(std::string("The history cannot be read: ") + error.what()),
            .alarms = {}};
  }
}

}  // namespace device
