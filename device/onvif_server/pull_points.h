#ifndef DEVICE_ONVIF_SERVER_PULL_POINTS_H
#define DEVICE_ONVIF_SERVER_PULL_POINTS_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "onvif/topic.h"
#include "onvif_server/notification.h"

namespace device::onvif {

struct PullPointLimits {
  std::size_t points = 32;
  std::size_t queue = 1000;  // notifications that wait at one of them
};

// The places at which clients fetch notifications. Each is forgotten when its time is over, with
// what waits there; a new one begins with the present state. Used from one thread; the clock never
// goes back.
class PullPoints {
 public:
  using Clock = std::function<std::int64_t()>;  // microseconds
  using Taken = std::function<void(const std::vector<Notification>& notifications)>;

  explicit PullPoints(Clock clock, const PullPointLimits& limits = {});

  // initial: the present state, from which the filter chooses. Nothing when there are too many
  // points; else its number, which is never given twice.
  std::optional<int> create(TopicFilter filter, std::int64_t lifetime,
                            const std::vector<Notification>& initial);

  // Puts notifications into the queues that want them. The oldest ones are lost where too many
  // wait.
  void publish(const std::vector<Notification>& notifications);
  void publishTo(int point, const std::vector<Notification>& notifications);

  // Hands over what waits, at most so many, or what comes first within a time; then nothing. A pull
  // that is waiting already is answered with nothing: its client has come anew. From the answer on
  // the point lives for its lifetime again. False for a point that there is not.
  bool pull(int point, std::size_t most, std::int64_t patience, Taken taken);

  // Lets it live for so long from now on.
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
    Taken taken;
  };
  struct Point {
    TopicFilter filter;
    std::int64_t lifetime = 0;
    std::int64_t end = 0;
    std::deque<std::shared_ptr<const Notification>> queue;
    std::optional<Pull> pull;
  };

  Point* find(int point);
  void add(Point* point, const std::shared_ptr<const Notification>& notification) const;
  static void answer(Point* point);
  static void answerIfAny(Point* point);

  Clock clock;
  PullPointLimits limits;
  std::map<int, Point> points;
  int last = 0;
};

}  // namespace device::onvif

#endif
