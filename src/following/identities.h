// Who is who: gives everybody in the pictures of all overview cameras an identity that outlives the
// cameras' own numbers.
//
// A camera gives somebody a new number after an occlusion, and each camera has numbers of its own.
// Here a new number begins a track that is young for a second. Young tracks and lost ones are
// compared by their states on the ground and by the people's height (global nearest neighbour with
// the logarithm of the density as cost; Bar-Shalom, Li and Kirubarajan 2001), and the best pairs
// are joined. A pair that is hardly cheaper than another one of either waits for some more
// pictures. Newcomers are as frequent in each part of a picture, so what is far away, where a pixel
// is much ground, may be compared as well as what is near. Two cameras that see one person at once
// give one track: one of them leads, the other is only held against it.
//
// Times are microseconds of one monotonic clock. Storage is reserved at construction; nothing
// allocates afterwards. No lock: for one thread.
#ifndef FOLLOWING_IDENTITIES_H
#define FOLLOWING_IDENTITIES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "following/ground_filter.h"
#include "following/ground_position.h"

namespace following {

// Somebody's height, averaged over his pictures. Begins as a usual one.
struct BodyHeight {
  static constexpr double USUAL = 1.7;  // m
  static constexpr int FIRST_WEIGHT = 3;
  static constexpr int MOST_WEIGHT = 40;

  void take(double measured);

  double metres = USUAL;
  int weight = FIRST_WEIGHT;
};

struct Person {
  std::int64_t identity;  // from 1, not given twice
  std::int64_t born;      // time of the first picture
  std::int64_t lastSeen;  // time of the last one
  std::int32_t channel;   // that the filter's last picture is of
  int pictures;
  Eigen::Matrix2d perPixel;  // m2, of the last picture (GroundPosition)
  double heightDeviation;    // m, the same
  BodyHeight height;
  GroundFilter filter;
  bool isWaiting = false;  // may be somebody who is known, which the next pictures tell
};

class Identities {
 public:
  // How long somebody is looked for whom no picture shows.
  static constexpr double COAST = 4.0;  // s
  // How long he is known again, though nobody looks for him any more.
  static constexpr double REMEMBERED = 6.0;  // s
  static constexpr double YOUTH = 1.0;       // s
  // Until when two who are in sight are compared, where pictures are few.
  static constexpr double LONGEST_YOUTH = 2.5;  // s
  static constexpr double DEAREST = 5.0;        // the cost from which a pair is none
  static constexpr double JOIN_GATE = 18.0;     // squared deviations of four numbers

  static constexpr std::size_t USUAL_CAPACITY = 512;
  // Of whom nobody looks for any more; of more, the longest lost are not known again.
  static constexpr std::size_t MOST_REMEMBERED = 64;

  // People at once. Further ones take the place of the longest lost, or are not taken.
  explicit Identities(std::size_t capacity = USUAL_CAPACITY);

  // One object of a picture; the number is the camera's own.
  struct Seen {
    std::int32_t id = 0;
    Sighting sighting;
  };

  // Takes one picture of a camera (channel), with everybody in it. now is the time of arrival.
  // False, and nothing is taken, when the picture's time is later than now by more than 0.1 s or
  // older than COAST: such a stamp lies. Objects without a place on the ground are left out.
  bool takePicture(std::int64_t now, std::int32_t channel, std::int64_t time,
                   const Viewpoint& viewpoint, std::span<const Seen> seen);

  // Forgets those whom no picture has shown for COAST.
  void expire(std::int64_t now);

  // Everybody known, in no particular order; until the next picture.
  std::span<const Person> people() const { return {persons.data(), persons.size()}; }

  // Null when not known. What was joined to an older identity is known by that one alone.
  const Person* find(std::int64_t identity) const;
  const Person* whoIs(std::int32_t channel, std::int32_t id) const;

 private:
  // A number of a camera that somebody has or had.
  struct Alias {
    std::int32_t channel;
    std::int32_t id;
    std::size_t person;  // index
    std::int64_t lastSeen;
    int strayed;    // pictures running in which it was too far from where the leading one has him
    bool isActive;  // not replaced by another one of its channel
    bool leads;     // its pictures are those that the filter takes
  };

  // What was known of somebody when he was seen last.
  struct Remembered {
    std::int64_t identity;
    std::int64_t born;
    std::int64_t lastSeen;
    std::int32_t channel;
    int pictures;
    BodyHeight height;
    GroundFilter::State state;
  };

  // Somebody who may have been seen again, and the young track that may be his.
  struct Pair {
    std::int64_t older;
    std::int64_t young;
    double cost;
  };

  void takeSighting(const Seen& seen, std::int32_t channel, std::int64_t time,
                    const Viewpoint& viewpoint);
  void begin(Alias alias, std::int64_t time, const GroundPosition& position);
  void take(Alias& alias, std::int64_t time, const GroundPosition& position);
  void takeBack(Alias& alias);
  bool hasFreshLeader(const Alias& alias, std::int64_t time) const;
  void lead(Alias& alias);
  bool strays(Alias& alias, const GroundFilter::Measurement& measurement,
              const GroundPosition& position) const;

  void join(std::int64_t time);
  void noteWaiting(std::int64_t time);
  void collectPairs(std::int64_t time);
  bool mayBeSeenTwice(std::size_t older, std::size_t young, std::int64_t time) const;
  static bool isYoung(const Person& person, std::int64_t time);
  void addPair(const Remembered& older, const Person& young, double gap);
  bool isContested(const Pair& pair, std::int64_t time) const;
  void merge(std::size_t older, std::size_t young);
  void recall(std::int64_t identity, Person& young);

  static Remembered memoryOf(const Person& person);
  void remember(const Person& person);

  std::size_t indexOf(std::int64_t identity) const;
  std::size_t placeOf(std::int32_t channel, std::int32_t id) const;
  bool isAt(std::size_t place, std::int32_t channel, std::int32_t id) const;
  void forget(std::size_t index);
  bool makeRoom(std::int64_t time);

  std::size_t capacity;
  std::int64_t lastIdentity = 0;
  std::vector<Person> persons;
  std::vector<Alias> aliases;  // sorted by channel and id
  std::vector<Pair> pairs;     // of the picture at hand
  std::vector<Remembered> remembered;
};

}  // namespace following

#endif
