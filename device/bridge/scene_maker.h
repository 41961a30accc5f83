#ifndef DEVICE_BRIDGE_SCENE_MAKER_H
#define DEVICE_BRIDGE_SCENE_MAKER_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "onvif_client/metadata_document.h"
#include "world/frame.h"

namespace device::bridge {

// Which of a camera's objects are wanted.
struct SceneWishes {
  // Names of classes; objects that have none at all are wanted too.
  std::set<std::string> classes = {"Human",     "Person", "Pedestrian",
                                   "HumanBody", "Face",   "HumanFace"};
  double likelihood = 0.5;  // of such a class, at least

  bool operator==(const SceneWishes&) const = default;
};

// What analytics see, made into frames of one channel as the application knows them. Ids count from
// 1 and are never given twice. An object's velocity is that of its centre (of its box's foot where
// no centre is told) over the last half second, as none is told. Times are monotonic microseconds.
class SceneMaker {
 public:
  static constexpr std::int64_t GONE = 1000000;         // missing so long in frames that come
  static constexpr std::int64_t SOURCE_GONE = 5000000;  // no frame of these analytics
  static constexpr std::int64_t IDLE = 60000000;        // at most without a word
  static constexpr std::int64_t SLOPE = 500000;         // of the velocity
  static constexpr std::size_t SLOPE_FRAMES = 5;
  static constexpr std::size_t MOST_OBJECTS = 1000;  // more are not taken on

  // lastId: that was given in this channel before.
  explicit SceneMaker(SceneWishes wishes = {}, std::int32_t lastId = 0)
      : wishes(std::move(wishes)), lastId(lastId) {}

  Frame take(const onvif::SeenFrame& seen, std::int64_t time);

  std::int32_t getLastId() const { return lastId; }

  // The stream has been lost: everything is deleted. Nothing when there is nothing.
  std::optional<Frame> lose(std::int64_t time);

 private:
  using Key = std::pair<std::string, std::string>;  // analytics, their id

  struct Position {
    std::int64_t time = 0;
    onvif::SeenPoint point;
  };
  struct Followed {
    std::int32_t id = 0;
    std::int64_t begun = 0;
    std::int64_t seen = 0;  // in a frame
    bool isIdle = false;
    bool hasCentre = false;  // what its positions are of
    std::deque<Position> positions;
    std::optional<FrameObject> shape;  // the last
  };

  bool isWanted(const onvif::SeenObject& object) const;
  void see(const onvif::SeenObject& object, const std::string& source, std::int64_t time,
           Frame* frame);
  void apply(const onvif::SeenChange& change, const std::string& source, std::int64_t time,
             Frame* frame);
  void drop(const Key& key, Frame* frame);
  void rename(const Key& from, const Key& to, Frame* frame);
  void split(const onvif::SeenChange& change, const std::string& source, std::int64_t time,
             Frame* frame);
  void merge(const onvif::SeenChange& change, const std::string& source, std::int64_t time,
             Frame* frame);
  void repeatIdle(const std::string& source, std::int64_t time, Frame* frame);
  void forgetMissing(const std::string& source, std::int64_t time, Frame* frame);
  Followed* find(const Key& key);
  Followed& begin(const Key& key, std::int64_t time);
  static FramePoint velocityOf(const Followed& object);

  SceneWishes wishes;
  std::map<Key, Followed> objects;
  std::map<std::string, std::int64_t> sources;  // when each was heard of last
  std::int32_t lastId;
};

}  // namespace device::bridge

#endif
