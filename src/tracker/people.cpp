#include "tracker/people.h"

#include <syslog.h>

#include <algorithm>
#include <cmath>

#include "following/pictures.h"
#include "following/units.h"

namespace {

using following::Subject;

// People are members of groups by their identity, other things by their camera's number.
constexpr std::int32_t PEOPLES_CHANNEL = -1;

// A picture is seen before its objects are handed over; from the next one on that shows somebody
// without this he is let go.
constexpr int MOST_PASSED_OVER = 1;
// How long somebody is gone on with who is seen under another number: guards judge it anew.
constexpr double JUDGED_WITHIN = following::Identities::COAST;
// Not handed over in pictures that are so much newer: hidden, not only missed.
constexpr double LOST_AFTER = 0.45;  // s
// A camera whose pictures are so much older than those of another, when the next one comes, counts
// by its own; until it shows nothing any more for longer.
constexpr double BEHIND = 0.35;       // s
constexpr double SILENT_AFTER = 1.5;  // s
// With fewer pictures nobody can tell whether he is the one who is lost.
constexpr int LEAST_KNOWN = 2;
// What has only a bearing cannot be expected anywhere for long.
constexpr double BEARING_COAST = 2.0;  // s

constexpr double HORIZON = -0.6;  // deg, above which the ground is nowhere
// Somebody so much smaller than he was has his legs hidden.
constexpr double HIDDEN_SHARE = 0.75;
constexpr int WELL_KNOWN = 10;  // pictures
// What is so much larger than a person is none.
constexpr double MUCH_WIDER = 2.5;
constexpr double MUCH_HIGHER = 1.5;

bool mayBeTheLostOne(const following::Person& person) {
  return person.pictures < LEAST_KNOWN || person.isWaiting;
}

std::int32_t numberOf(std::int64_t identity) {
  return static_cast<std::int32_t>(identity);
}

double heightBetween(const following::Sighting& sighting, double mastHeight) {
  return mastHeight * (1.0 - std::tan(following::radians(-sighting.headTilt)) /
                                 std::tan(following::radians(-sighting.footTilt)));
}

// Where the foot of somebody of a known height is, whose head alone is seen.
std::optional<double> footTiltOf(double headTilt, double height, double mastHeight) {
  if (headTilt > HORIZON || mastHeight - height < 0.1) {
    return std::nullopt;
  }
  const double distance = (mastHeight - height) / std::tan(following::radians(-headTilt));
  return -following::degrees(std::atan2(mastHeight, distance));
}

// Both together in one frame.
Subject together(const Subject& one, const Subject& other) {
  const auto spanOf = [](const Subject& subject, double pan) {
    const double half =
        subject.width / 2.0 / following::foreshortening(following::radians(subject.tilt));
    return std::pair(pan - half, pan + half);
  };
  const auto [left, right] = spanOf(one, one.pan);
  const auto [otherLeft, otherRight] =
      spanOf(other, one.pan + following::wrapped(other.pan - one.pan));
  const double low = std::min(one.tilt - one.height / 2.0, other.tilt - other.height / 2.0);
  const double high = std::max(one.tilt + one.height / 2.0, other.tilt + other.height / 2.0);
  const double width = std::max(right, otherRight) - std::min(left, otherLeft);
  Subject both;
  both.pan = following::wrapped((std::min(left, otherLeft) + std::max(right, otherRight)) / 2.0);
  both.tilt = (low + high) / 2.0;
  both.panRate = (one.panRate + other.panRate) / 2.0;
  both.tiltRate = (one.tiltRate + other.tiltRate) / 2.0;
  both.width = width * std::cos(following::radians(both.tilt));
  both.height = high - low;
  both.deviation = std::max(one.deviation, other.deviation);
  both.walks = std::max(one.walks, other.walks);
  return both;
}

}  // namespace

People::People(const Installation& installation)
    : installation(installation), identities(CAPACITY) {
  static_assert(CAPACITY * sizeof(following::Person) + MOST_UNPLACED * sizeof(Unplaced) < 1000000,
                "a mebibyte, with what is small");
  wanted.reserve(CAPACITY);
  unplaced.reserve(MOST_UNPLACED);
  sightings.reserve(CAPACITY);
  offered.reserve(2 * CAPACITY);
  offeredBefore.reserve(2 * CAPACITY);
  members.reserve(CAPACITY);
  followed.reserve(2 * CAPACITY);
}

// ---- Pictures ----

void People::see(std::int64_t now, std::int32_t channel, std::int64_t time, double focalLength,
                 std::span<const Seen> seen) {
  if (isRepeated(channel, time)) {
    return;
  }
  const Installation::Offset& offset = installation.offsetOf(static_cast<std::size_t>(channel));
  const following::Viewpoint viewpoint{installation.mastHeight, offset.x, offset.y, focalLength};
  sightings.clear();
  for (const Seen& each : seen) {
    const auto sighting = placed(each, channel, installation.mastHeight);
    if (sighting && sightings.size() < CAPACITY) {
      sightings.push_back({each.id, *sighting});
    }
  }
  const bool isBelieved = identities.takePicture(now, channel, time, viewpoint, sightings);
  disbelieve(channel, !isBelieved);
  if (!isBelieved) {
    return;
  }
  noteTime(streams[channel], time);
  for (const Seen& each : seen) {
    const auto isPlaced = [&](const auto& sighting) { return sighting.id == each.id; };
    if (std::ranges::any_of(sightings, isPlaced)) {
      seeWanted(each, channel);
      std::erase_if(unplaced, [&](const Unplaced& other) {
        return other.channel == channel && other.id == each.id;
      });
    } else {
      seeUnplaced(each, channel, time, focalLength);
    }
  }
}

// Frames may be doubled on their way; a measurement must not count twice.
bool People::isRepeated(std::int32_t channel, std::int64_t time) {
  Stream& stream = streams[channel];
  if (std::ranges::count(stream.times, time) != 0) {
    return true;
  }
  stream.times[stream.next] = time;
  stream.next = (stream.next + 1) % Stream::KEPT;
  return false;
}

void People::noteTime(Stream& stream, std::int64_t time) {
  stream.isBehind =
      stream.newest != 0 && following::secondsBetween(stream.newest, newestPicture) > BEHIND;
  stream.newest = std::max(stream.newest, time);
  newestPicture = std::max(newestPicture, time);
}

// Told once, until it is good again.
void People::disbelieve(std::int32_t channel, bool isDisbelieved) {
  Stream& stream = streams[channel];
  if (isDisbelieved && !stream.isDisbelieved) {
    syslog(LOG_WARNING,
           "The times of camera %d's pictures cannot be, nobody is followed by them.\n",
           channel + 1);
  }
  stream.isDisbelieved = isDisbelieved;
}

// Where foot and head are, as far as the ground tells. A foot that is hidden or cut off follows
// from the head, when it is known how tall the person is.
std::optional<following::Sighting> People::placed(const Seen& seen, std::int32_t channel,
                                                  double mastHeight) const {
  following::Sighting sighting = seen.box.sighting;
  const following::Person* known = identities.whoIs(channel, seen.id);
  const bool isHidden = known != nullptr && !seen.box.isHeadCut &&
                        known->height.weight >= WELL_KNOWN &&
                        heightBetween(sighting, mastHeight) < HIDDEN_SHARE * known->height.metres;
  if (seen.box.isFootCut || isHidden) {
    if (known == nullptr || seen.box.isHeadCut) {
      return std::nullopt;
    }
    const auto footTilt = footTiltOf(sighting.headTilt, known->height.metres, mastHeight);
    if (!footTilt) {
      return std::nullopt;
    }
    // What the height gave is no measurement of it.
    return *footTilt <= HORIZON
               ? std::optional(following::Sighting{sighting.pan, *footTilt, *footTilt})
               : std::nullopt;
  }
  if (!(sighting.footTilt <= HORIZON)) {
    return std::nullopt;
  }
  if (seen.box.isHeadCut) {
    sighting.headTilt = sighting.footTilt;  // no height at all
  }
  return sighting;
}

void People::seeUnplaced(const Seen& seen, std::int32_t channel, std::int64_t time,
                         double focalLength) {
  const following::BearingFilter::Observation observation{time, seen.box.pan, seen.box.tilt,
                                                          seen.box.width, seen.box.height};
  if (!std::isfinite(observation.pan) || !std::isfinite(observation.tilt) ||
      !std::isfinite(observation.width) || !std::isfinite(observation.height)) {
    return;
  }
  if (Unplaced* known = unplacedOf(channel, seen.id)) {
    known->filter.update(observation);
    known->lastSeen = std::max(known->lastSeen, time);
    known->passedOver += seen.isSure ? 1 : 0;
    return;
  }
  if (unplaced.size() == MOST_UNPLACED) {
    return;
  }
  const double deviation = following::degrees(following::PIXEL_DEVIATION / focalLength);
  unplaced.push_back(
      {channel, seen.id, following::BearingFilter(observation, deviation), 0, time, false, 0});
}

void People::seeWanted(const Seen& seen, std::int32_t channel) {
  const following::Person* person = identities.whoIs(channel, seen.id);
  Wanted* known = person == nullptr ? nullptr : wantedOf(person->identity);
  if (known == nullptr) {
    return;
  }
  known->width = seen.box.width;
  known->height = seen.box.height;
  const bool isPassedOver = known->channel == channel && known->id == seen.id && seen.isSure;
  known->passedOver += isPassedOver ? 1 : 0;
}

People::Wanted* People::wantedOf(std::int64_t identity) {
  const auto found = std::ranges::find(wanted, identity, &Wanted::identity);
  return found == wanted.end() ? nullptr : &*found;
}

People::Unplaced* People::unplacedOf(std::int32_t channel, std::int32_t id) {
  const auto found = std::ranges::find_if(
      unplaced, [&](const Unplaced& each) { return each.channel == channel && each.id == id; });
  return found == unplaced.end() ? nullptr : &*found;
}

// ---- Who is wanted ----

void People::want(std::int32_t channel, std::int32_t id, std::int32_t priority, std::int64_t time) {
  const auto stream = streams.find(channel);
  if (stream != streams.end() && stream->second.isDisbelieved) {
    return;
  }
  if (Unplaced* thing = unplacedOf(channel, id)) {
    thing->priority = priority;
    thing->isWanted = true;
    thing->passedOver = 0;
    return;
  }
  const following::Person* person = identities.whoIs(channel, id);
  if (person == nullptr) {
    return;
  }
  if (Wanted* known = wantedOf(person->identity)) {
    known->channel = channel;
    known->id = id;
    known->priority = priority;
    known->handedOver = std::max(known->handedOver, time);
    known->passedOver = 0;
  } else if (wanted.size() < CAPACITY) {
    wanted.push_back({person->identity, channel, id, priority, time, 0, 0.0, 0.0});
  }
}

// People are known on, by what other cameras show of them.
void People::forgetCamera(std::int32_t channel) {
  std::erase_if(wanted, [channel](const Wanted& each) { return each.channel == channel; });
  std::erase_if(unplaced, [channel](const Unplaced& each) { return each.channel == channel; });
  streams.erase(channel);
}

std::optional<std::int64_t> People::knownSince(std::int32_t channel, std::int32_t id) const {
  const following::Person* person = identities.whoIs(channel, id);
  return person == nullptr ? std::nullopt : std::optional(person->born);
}

void People::forgetLost(std::int64_t now) {
  identities.expire(now);
  std::erase_if(wanted, [this](const Wanted& each) {
    const following::Person* person = identities.find(each.identity);
    return person == nullptr || each.passedOver > MOST_PASSED_OVER ||
           following::secondsBetween(each.handedOver, person->lastSeen) > JUDGED_WITHIN;
  });
  std::erase_if(unplaced, [now](const Unplaced& each) {
    return following::secondsBetween(each.lastSeen, now) > BEARING_COAST;
  });
}

// ---- Choosing ----

std::optional<FollowedSubject> People::choose(double pan, double tilt, std::int64_t now,
                                              std::int64_t at) {
  forgetLost(now);
  offer(now, at);
  withdrawOthers();
  groups.updateSuperObjects();
  const SuperObject* group = groups.getSuperObject(pan, tilt);
  return group == nullptr ? std::nullopt : subjectOf(*group, now, at);
}

// By the pictures of all cameras, but for one that is late by much or has few of them.
bool People::isLost(std::int32_t channel, std::int64_t handedOver) const {
  const double unseen = following::secondsBetween(handedOver, newestPicture);
  const auto stream = streams.find(channel);
  if (stream == streams.end() || !stream->second.isBehind) {
    return unseen > LOST_AFTER;
  }
  return following::secondsBetween(handedOver, stream->second.newest) > LOST_AFTER ||
         unseen > SILENT_AFTER;
}

bool People::wasFollowed(const Chosen& one) const {
  return std::ranges::count(followed, one) != 0;
}

bool People::isFollowedOneInSight() const {
  return std::ranges::any_of(wanted,
                             [this](const Wanted& each) {
                               return wasFollowed({PEOPLES_CHANNEL, numberOf(each.identity)}) &&
                                      !isLost(each.channel, each.handedOver);
                             }) ||
         std::ranges::any_of(unplaced, [this](const Unplaced& each) {
           return wasFollowed({each.channel, each.id}) && !isLost(each.channel, each.lastSeen);
         });
}

bool People::isFollowedOneKnown() const {
  return std::ranges::any_of(wanted, [this](const Wanted& each) {
    return wasFollowed({PEOPLES_CHANNEL, numberOf(each.identity)});
  });
}

// Who is lost is gone on with, but neither chosen anew nor preferred to those in sight.
bool People::isOffered(const Chosen& one, bool isOneLost, bool isOneInSight) const {
  return !isOneLost || (!isOneInSight && wasFollowed(one));
}

void People::offer(std::int64_t now, std::int64_t at) {
  std::swap(offered, offeredBefore);
  offered.clear();
  const bool isOneInSight = isFollowedOneInSight();
  const bool isOneLost = !isOneInSight && isFollowedOneKnown();
  for (const Wanted& each : wanted) {
    const Chosen one{PEOPLES_CHANNEL, numberOf(each.identity)};
    const following::Person* person = identities.find(each.identity);
    if (!isOffered(one, isLost(each.channel, each.handedOver), isOneInSight) ||
        (isOneLost && mayBeTheLostOne(*person))) {
      continue;
    }
    const following::Member alone{&person->filter.state(), person->height.metres};
    if (const auto subject = following::predictSubject({&alone, 1}, at, installation.mastHeight,
                                                       following::Course::unknown)) {
      offerOne(one, each.priority, now, *subject);
    }
  }
  for (const Unplaced& each : unplaced) {
    const Chosen one{each.channel, each.id};
    if (each.isWanted && each.passedOver <= MOST_PASSED_OVER &&
        isOffered(one, isLost(each.channel, each.lastSeen), isOneInSight)) {
      offerOne(one, each.priority, now, each.filter.predict(at));
    }
  }
}

void People::offerOne(const Chosen& one, std::int32_t priority, std::int64_t now,
                      const Subject& subject) {
  const double narrow = following::foreshortening(following::radians(subject.tilt));
  // Where he will be has been worked out already.
  groups.updateSingleObject({.channel = one.channel,
                             .id = one.id,
                             .priority = priority,
                             .pan = subject.pan,
                             .tilt = subject.tilt,
                             .width = subject.width / narrow,
                             .height = subject.height,
                             .timestamp = now,
                             .velocity = {}});
  offered.push_back(one);
}

void People::withdrawOthers() {
  for (const Chosen& before : offeredBefore) {
    if (std::ranges::count(offered, before) == 0) {
      groups.removeSingleObject(before.channel, before.id);
    }
  }
}

std::optional<FollowedSubject> People::subjectOf(const SuperObject& group, std::int64_t now,
                                                 std::int64_t at) {
  constexpr double NEVER = 1e9;  // s
  double gap = NEVER;
  double width = 0.0;
  double height = 0.0;
  members.clear();
  followed.clear();
  std::optional<Subject> subject;
  for (const auto& single : group.getSingles()) {
    followed.push_back({single->getChannel(), single->getId()});
    if (single->getChannel() == PEOPLES_CHANNEL) {
      const Wanted* each = nullptr;
      for (const Wanted& one : wanted) {
        each = numberOf(one.identity) == single->getId() ? &one : each;
      }
      const following::Person* person = identities.find(each->identity);
      members.push_back({&person->filter.state(), person->height.metres});
      gap = std::min(gap, following::secondsBetween(person->lastSeen, now));
      width = std::max(width, each->width);
      height = std::max(height, each->height);
    } else if (const Unplaced* thing = unplacedOf(single->getChannel(), single->getId())) {
      const Subject seen = thing->filter.predict(at);
      subject = subject ? together(*subject, seen) : seen;
      gap = std::min(gap, following::secondsBetween(thing->lastSeen, now));
    }
  }
  if (auto onGround = following::predictSubject(members, at, installation.mastHeight)) {
    onGround->width = width > MUCH_WIDER * onGround->width ? width : onGround->width;
    onGround->height = height > MUCH_HIGHER * onGround->height ? height : onGround->height;
    subject = subject ? together(*onGround, *subject) : onGround;
  }
  return subject ? std::optional(FollowedSubject{*subject, std::max(gap, 0.0)}) : std::nullopt;
}

// ---- For those who look on ----

std::vector<PersonInsight> People::insight(std::int64_t now, std::int64_t at) const {
  std::vector<PersonInsight> told;
  told.reserve(identities.people().size());
  for (const following::Person& person : identities.people()) {
    const double unseen = following::secondsBetween(person.lastSeen, now);
    // Nobody expires while no step asks whom to follow.
    if (unseen > following::Identities::COAST) {
      continue;
    }
    const auto state = following::GroundFilter::predict(person.filter.state(), at);
    const bool isWanted = std::ranges::count(wanted, person.identity, &Wanted::identity) != 0;
    told.push_back(
        {.identity = person.identity,
         .x = state.mean(0),
         .y = state.mean(1),
         .velocityX = state.mean(2),
         .velocityY = state.mean(3),
         .varianceX = state.covariance(0, 0),
         .covariance = state.covariance(0, 1),
         .varianceY = state.covariance(1, 1),
         .height = person.height.metres,
         .unseen = std::max(unseen, 0.0),
         .isWanted = isWanted,
         .isFollowed = isWanted && wasFollowed({PEOPLES_CHANNEL, numberOf(person.identity)})});
  }
  return told;
}
