#ifndef TRACKER_PEOPLE_H
#define TRACKER_PEOPLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "following/bearing_filter.h"
#include "following/identities.h"
#include "tracker/box_sighting.h"
#include "tracker/following_setup.h"
#include "tracker/insight.h"
#include "tracker/selection.h"
#include "tracker/super_object_manager.h"

// Everybody in the pictures of all overview cameras, and who of them is to be followed. Guards hand
// over objects by the numbers that cameras give them; here they are people, who keep their place
// in turns and groups when they come back under another number or in another camera's picture.
//
// Somebody who was followed and whom no picture shows is gone on with for as long as identities
// look for him, unless others of his group are in sight; so is somebody of whom the analytics are
// not sure at the moment, as at a picture's edge, where no guard hands anybody over. Somebody who
// is seen well but not handed over any more is not. Under a new number he is given some seconds to
// be handed over again, as a guard may look at an object for a while first. What has no place on
// the ground is followed by its bearing.
//
// Times are monotonic microseconds, channels count from 0. No lock: used under the tracker's mutex.
// A picture allocates nothing but for a new number.
class People {
 public:
  // At once; 5 kB each once they have been there.
  static constexpr std::size_t CAPACITY = 160;
  // Things without a place on the ground, besides.
  static constexpr std::size_t MOST_UNPLACED = 32;
  // Of one picture; what is beyond is not looked at.
  static constexpr std::size_t MOST_SEEN = CAPACITY + MOST_UNPLACED;

  explicit People(const Installation& installation);

  // One object of a picture; the number is the camera's own.
  struct Seen {
    std::int32_t id = 0;
    BoxSighting box;
    bool isSure = true;  // analytics are confident of it
  };

  // One picture with everybody in it, followed or not. A frame that comes again is ignored, one
  // whose time cannot be is logged and ignored.
  void see(std::int64_t now, std::int32_t channel, std::int64_t time, double focalLength,
           std::span<const Seen> seen);

  // A guard hands over an object of that picture; ignored where the picture is.
  void want(std::int32_t channel, std::int32_t id, std::int32_t priority, std::int64_t time);

  // A camera's pictures come no more: whom its guards have handed over is handed over no more.
  void forgetCamera(std::int32_t channel);

  // Since which picture somebody has been known, under whatever numbers; nothing of others.
  std::optional<std::int64_t> knownSince(std::int32_t channel, std::int32_t id) const;

  // The group to follow with the head looking at pan and tilt, as it will be at a time.
  std::optional<FollowedSubject> choose(double pan, double tilt, std::int64_t now, std::int64_t at);

  // Everybody as he will be at a time; those not seen for long are left out.
  std::vector<PersonInsight> insight(std::int64_t now, std::int64_t at) const;

  // How to choose (SuperObjectManager).
  SuperObjectManager& selection() { return groups; }

  const following::Identities& getIdentities() const { return identities; }

 private:
  // Somebody who was handed over.
  struct Wanted {
    std::int64_t identity;
    std::int32_t channel;  // and number, by which he was handed over last
    std::int32_t id;
    std::int32_t priority;
    std::int64_t handedOver;  // time of that picture
    int passedOver;           // pictures since that show this number
    double width;             // deg, as seen
    double height;
  };

  // Something without a place on the ground.
  struct Unplaced {
    std::int32_t channel;
    std::int32_t id;
    following::BearingFilter filter;
    std::int32_t priority = 0;
    std::int64_t lastSeen = 0;
    bool isWanted = false;
    int passedOver = 0;
  };

  // Of the channels, what pictures came last.
  struct Stream {
    static constexpr std::size_t KEPT = 8;
    std::array<std::int64_t, KEPT> times{};
    std::size_t next = 0;
    std::int64_t newest = 0;  // of those that are believed; 0 before the first
    bool isBehind = false;    // it is late, or has few pictures
    bool isDisbelieved = false;
  };

  // Of the selection.
  struct Chosen {
    std::int32_t channel;
    std::int32_t id;
    bool operator==(const Chosen&) const = default;
  };

  bool isRepeated(std::int32_t channel, std::int64_t time);
  void noteTime(Stream& stream, std::int64_t time);
  void disbelieve(std::int32_t channel, bool isDisbelieved);
  std::optional<following::Sighting> placed(const Seen& seen, std::int32_t channel,
                                            double mastHeight) const;
  void seeUnplaced(const Seen& seen, std::int32_t channel, std::int64_t time, double focalLength);
  void seeWanted(const Seen& seen, std::int32_t channel);
  Wanted* wantedOf(std::int64_t identity);
  Unplaced* unplacedOf(std::int32_t channel, std::int32_t id);

  void forgetLost(std::int64_t now);
  bool isLost(std::int32_t channel, std::int64_t handedOver) const;
  bool wasFollowed(const Chosen& one) const;
  bool isFollowedOneInSight() const;
  bool isFollowedOneKnown() const;
  bool isOffered(const Chosen& one, bool isOneLost, bool isOneInSight) const;
  void offer(std::int64_t now, std::int64_t at);
  void offerOne(const Chosen& one, std::int32_t priority, std::int64_t now,
                const following::Subject& subject);
  void withdrawOthers();
  std::optional<FollowedSubject> subjectOf(const SuperObject& group, std::int64_t now,
                                           std::int64_t at);

  Installation installation;
  following::Identities identities;
  std::vector<Wanted> wanted;
  std::vector<Unplaced> unplaced;
  std::map<std::int32_t, Stream> streams;  // by channel
  SuperObjectManager groups;

  std::int64_t newestPicture = 0;  // of all cameras
  std::vector<Chosen> followed;    // the group chosen last

  // Of the picture and the step at hand.
  std::vector<following::Identities::Seen> sightings;
  std::vector<Chosen> offered;
  std::vector<Chosen> offeredBefore;
  std::vector<following::Member> members;
};

#endif
