#ifndef DEVICE_ONVIF_SERVER_PULL_POINTS_H
#define DEVICE_ONVIF_SERVER_PULL_POINTS_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "onvif/topic.h"
#include "onvif_server/notification.h"

namespace device::onvif {

struct PullPointLimits {
  std::size_t points = 32;
  std::size_t queue = 1000;          // notifications that wait at one of them
  std::size_t kept = 100;            // for the one that takes a forgotten one's place
  std::int64_t keptFor = 600000000;  // microseconds
};

// The places at which clients fetch notifications. Each is forgotten when its time is over; a new
// one begins with the present state. What is handed over to a client that has gone is not lost: it
// waits for the next pull. Nor is what happened that a forgotten point's client has not got: who
// came with the same filter after its last pull is taken for its client and told what came before,
// and the present state anew, as the last word; where there is nobody, the newest of it, and of
// what the filter lets pass later, wait for a time for the next new point with that filter, which
// hands them over before the present state. A point that is removed leaves nothing. Used from one
// thread; the clock never goes back.
class PullPoints {
 public:
  using Clock = std::function<std::int64_t()>;  // microseconds

  // All properties as they are now; each filter chooses from them.
  using Present = std::function<std::vector<Notification>()>;

  // Is to be told whether the notifications have gone on to the client. May be called later than
  // the points live.
  using Sent = std::function<void(bool isSent)>;

  // Who pulls.
  struct Client {
    // Called once; sent is empty where there is nothing.
    std::function<void(const std::vector<Notification>& notifications, Sent sent)> take;
    std::function<bool()> isThere;
  };
  enum class Pulled { yes, noPoint, anotherWaits };

  PullPoints(Clock clock, Present present, const PullPointLimits& limits = {});
  PullPoints(const PullPoints&) = delete;
  PullPoints& operator=(const PullPoints&) = delete;

  // Nothing when there are too many points; else its number, which is never given twice.
  std::optional<int> create(TopicFilter filter, std::int64_t lifetime);

  // Puts notifications into the queues that want them. The oldest ones are lost where too many
  // wait.
  void publish(const std::vector<Notification>& notifications);

  // Tells it the present state again; whether there is such a point.
  bool synchronize(int point);

  // Hands over what waits, at most so many, or what comes first within a time; then nothing. While
  // another pull waits whose client is there, nothing is done; one whose client has gone is
  // answered with nothing. From the answer on the point lives for its lifetime again.
  Pulled pull(int point, std::size_t most, std::int64_t patience, Client client);

  // Lets it live for so long from now on; while a pull waits, from the pull's end on.
  bool renew(int point, std::int64_t lifetime);

  bool remove(int point);

  // Microseconds that it has left; nothing for a point that there is not.
  std::optional<std::int64_t> lifetimeOf(int point) const;

  // Forgets the points and answers the pulls whose time is over. Call it often.
  void update();

  std::size_t size() const { return points.size(); }

 private:
  struct Pull {
    std::size_t most = 0;
    std::int64_t end = 0;
    Client client;
  };
  struct Waiting {
    std::shared_ptr<const Notification> notification;
    std::int64_t since = 0;
  };
  using Queue = std::deque<Waiting>;
  struct Point {
    TopicFilter filter;
    std::int64_t lifetime = 0;
    std::int64_t end = 0;
    std::int64_t created = 0;
    std::int64_t pulled = 0;  // last
    Queue queue;
    Queue onItsWay;  // what was handed over last, until it is sent
    int batch = 0;   // its number
    std::optional<Pull> pull;
  };
  // What is left of a point that was not renewed.
  struct Legacy {
    TopicFilter filter;
    std::int64_t end = 0;
    Queue queue;
  };

  Point* find(int point);
  void add(Point* point, const Waiting& waiting) const;
  void addPresent(Point* point) const;
  void addGone(Point* point, const Queue& told) const;
  void forget(int number);
  void handOver(Queue* left, int number, Point* heir);
  std::pair<const int, Point>* heirOf(const Point& lost);
  void leave(Legacy* legacy, const Waiting& waiting) const;
  Queue takeLegacy(const TopicFilter& filter);
  void dropOld(Queue* queue) const;
  void takeBack(Point* point) const;
  void settle(int point, int batch, bool isSent);
  void answer(int number, Point* point);
  void answerIfAny(int number, Point* point);

  Clock clock;
  Present present;
  PullPointLimits limits;
  std::map<int, Point> points;
  std::deque<Legacy> legacies;  // the oldest first, as many as points at most
  int last = 0;
  std::shared_ptr<PullPoints*> self = std::make_shared<PullPoints*>(this);
};

}  // namespace device::onvif

#endif
