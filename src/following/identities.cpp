#include "following/identities.h"

#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "following/units.h"

namespace following {

namespace {

constexpr double STAMP_TOLERANCE = 0.1;  // s, by which a picture's time may lie ahead

// Pictures before a track is compared: the velocity has to be told from none. Of two cameras that
// see one person at once there is time for more.
constexpr int COMPARED_PICTURES = 2;
constexpr int SEEN_TWICE_PICTURES = 4;

// After this without a picture of the leading camera another one that sees the person takes over.
constexpr double LEADERS_PATIENCE = 0.3;  // s
constexpr int MOST_STRAYED = 3;           // pictures running

// Between two cameras, or before and after an occlusion, positions differ by the mounting as well;
// between two cameras by that of both.
constexpr double MOUNTING_DEVIATION = 7.0;  // px, half a degree
constexpr double MOUNTED_APART = 2.0;       // deviations, in the reach between two cameras
constexpr double STRAYED = 25.0;            // squared deviations

constexpr double REACH = 1.0;              // m, how far from the expected place somebody may be,
constexpr double REACH_PER_SECOND = 1.2;   // m/s, and how much further after a gap
constexpr double HEIGHT_DEVIATION = 0.12;  // m, between two views of one person
constexpr double GAP_COST = 0.3;           // per second
// The ground (m2) of a pixel 10 m from a mast of 5 m: beyond, pairs get no dearer by the distance.
constexpr double FAR_PIXEL = 4.3e-4;

// A pair that another one of the same people comes so near to is not joined before so many pictures
// of the young one, or until he is so old, or his next picture would come too late: not regularly.
constexpr double CONTESTED_BY = 3.0;
constexpr int CONTESTED_PICTURES = 5;
constexpr double CONTESTED_TIME = 0.7;  // s
constexpr double LATE_PICTURE = 1.2;    // times what lay between those before

constexpr double TAKEN_BACK_PLACE = 1.0;     // m2, added to the variance per axis
constexpr double TAKEN_BACK_VELOCITY = 1.0;  // m2/s2

constexpr std::size_t ALIASES_PER_PERSON = 4;
constexpr std::size_t PAIRS_PER_PERSON = 4;

auto keyOf(std::int32_t channel, std::int32_t id) {
  return std::pair(channel, id);
}

// Per axis, m2.
double mountingVariance(const Eigen::Matrix2d& perPixel) {
  return squared(MOUNTING_DEVIATION) * perPixel.trace() / 2.0;
}

// What was measured of a height, without what was assumed before, goes into another one.
void takeMeasured(BodyHeight& height, const BodyHeight& other) {
  const int measured = other.weight - BodyHeight::FIRST_WEIGHT;
  const double mean = other.metres + (other.metres - BodyHeight::USUAL) * BodyHeight::FIRST_WEIGHT /
                                         std::max(measured, 1);
  for (int i = 0; i < measured; ++i) {
    height.take(mean);
  }
}

}  // namespace

void BodyHeight::take(double measured) {
  weight = std::min(weight + 1, MOST_WEIGHT);
  metres += (measured - metres) / weight;
}

Identities::Identities(std::size_t capacity) : capacity(std::max<std::size_t>(capacity, 1)) {
  persons.reserve(this->capacity);
  aliases.reserve(this->capacity * ALIASES_PER_PERSON);
  pairs.reserve(this->capacity * PAIRS_PER_PERSON);
  remembered.reserve(MOST_REMEMBERED);
}

bool Identities::takePicture(std::int64_t now, std::int32_t channel, std::int64_t time,
                             const Viewpoint& viewpoint, std::span<const Seen> seen) {
  const double age = secondsBetween(time, now);
  if (age < -STAMP_TOLERANCE || age > COAST) {
    return false;
  }
  expire(now);
  for (const Seen& each : seen) {
    takeSighting(each, channel, time, viewpoint);
  }
  join(time);
  return true;
}

void Identities::takeSighting(const Seen& seen, std::int32_t channel, std::int64_t time,
                              const Viewpoint& viewpoint) {
  const std::size_t place = placeOf(channel, seen.id);
  const bool isKnown = isAt(place, channel, seen.id);
  const double speed = isKnown ? persons[aliases[place].person].filter.speed() : FIRST_SPEED;
  const std::optional<GroundPosition> position = locate(viewpoint, seen.sighting, speed);
  if (!position) {
    return;
  }
  if (isKnown) {
    take(aliases[place], time, *position);
  } else {
    begin({channel, seen.id, 0, time, 0, true, true}, time, *position);
  }
}

void Identities::begin(Alias alias, std::int64_t time, const GroundPosition& position) {
  if (!makeRoom(time)) {
    return;
  }
  alias.person = persons.size();
  BodyHeight height;
  if (position.height) {
    height.take(*position.height);
  }
  persons.push_back({++lastIdentity, time, time, alias.channel, 1, position.perPixel,
                     position.heightDeviation, height,
                     GroundFilter({time, position.place, position.covariance})});
  const auto place = static_cast<std::ptrdiff_t>(placeOf(alias.channel, alias.id));
  aliases.insert(aliases.begin() + place, alias);
}

void Identities::take(Alias& alias, std::int64_t time, const GroundPosition& position) {
  if (!alias.isActive) {
    const auto [channel, id] = std::pair(alias.channel, alias.id);
    takeBack(alias);
    return take(aliases[placeOf(channel, id)], time, position);
  }
  const GroundFilter::Measurement measurement{time, position.place, position.covariance};
  if (!alias.leads && hasFreshLeader(alias, time)) {
    if (strays(alias, measurement, position)) {
      const Alias detached{alias.channel, alias.id, 0, time, 0, true, true};
      aliases.erase(aliases.begin() + (&alias - aliases.data()));
      return begin(detached, time, position);
    }
  } else {
    Person& person = persons[alias.person];
    if (!alias.leads) {
      person.filter.loosen(mountingVariance(position.perPixel), 0.0);
      lead(alias);
    }
    person.filter.update(measurement);
    person.channel = alias.channel;
    person.perPixel = position.perPixel;
    person.heightDeviation = position.heightDeviation;
  }
  Person& person = persons[alias.person];
  alias.lastSeen = std::max(alias.lastSeen, time);
  person.lastSeen = std::max(person.lastSeen, time);
  ++person.pictures;
  if (position.height) {
    person.height.take(*position.height);
  }
}

// A number that was thought to be replaced is there again.
void Identities::takeBack(Alias& alias) {
  const std::int32_t channel = alias.channel;
  const std::size_t person = alias.person;
  persons[person].filter.loosen(TAKEN_BACK_PLACE, TAKEN_BACK_VELOCITY);
  alias.isActive = true;
  lead(alias);
  const std::int32_t id = alias.id;
  std::erase_if(aliases, [&](const Alias& other) {
    return other.person == person && other.channel == channel && other.id != id && other.isActive;
  });
}

bool Identities::hasFreshLeader(const Alias& alias, std::int64_t time) const {
  return std::ranges::any_of(aliases, [&](const Alias& other) {
    return other.person == alias.person && other.leads &&
           secondsBetween(other.lastSeen, time) < LEADERS_PATIENCE;
  });
}

void Identities::lead(Alias& alias) {
  for (Alias& other : aliases) {
    if (other.person == alias.person) {
      other.leads = false;
    }
  }
  alias.leads = true;
}

bool Identities::strays(Alias& alias, const GroundFilter::Measurement& measurement,
                        const GroundPosition& position) const {
  GroundFilter::Measurement wide = measurement;
  wide.covariance += squared(MOUNTING_DEVIATION) * position.perPixel;
  alias.strayed = persons[alias.person].filter.distanceTo(wide) > STRAYED ? alias.strayed + 1 : 0;
  return alias.strayed >= MOST_STRAYED;
}

// ---- Joining ----

void Identities::join(std::int64_t time) {
  pairs.clear();
  collectPairs(time);
  std::ranges::sort(pairs, {},
                    [](const Pair& pair) { return std::tuple(pair.cost, pair.older, pair.young); });
  for (auto pair = pairs.begin(); pair != pairs.end(); ++pair) {
    if (pair->cost >= DEAREST || isContested(*pair, time)) {
      continue;
    }
    const std::size_t older = indexOf(pair->older);
    const std::size_t young = indexOf(pair->young);
    if (older < persons.size()) {
      merge(older, young);
    } else {
      recall(pair->older, persons[young]);
    }
    for (Pair& other : std::span(pair + 1, pairs.end())) {
      if (other.older == pair->older || other.older == pair->young || other.young == pair->young ||
          other.young == pair->older) {
        other.cost = std::numeric_limits<double>::infinity();
      }
    }
  }
  noteWaiting(time);
}

// Whose pairs are neither joined nor none.
void Identities::noteWaiting(std::int64_t time) {
  for (Person& person : persons) {
    person.isWaiting = person.isWaiting && person.lastSeen > time;  // a picture that came late
  }
  for (const Pair& pair : pairs) {
    const std::size_t young = indexOf(pair.young);
    if (pair.cost < DEAREST && young < persons.size()) {
      persons[young].isWaiting = true;
    }
  }
}

void Identities::collectPairs(std::int64_t time) {
  for (std::size_t y = 0; y < persons.size(); ++y) {
    const Person& young = persons[y];
    if (!isYoung(young, time)) {
      continue;
    }
    const bool isNew = secondsBetween(young.born, time) < YOUTH;
    for (std::size_t o = 0; o < persons.size(); ++o) {
      const Person& other = persons[o];
      const double gap = secondsBetween(other.lastSeen, time);
      if (o == y || gap > COAST || other.pictures < COMPARED_PICTURES) {
        continue;
      }
      if (gap > 0.0 && young.born > other.lastSeen) {
        if (isNew) {
          addPair(memoryOf(other), young, secondsBetween(other.lastSeen, young.born));
        }
      } else if (mayBeSeenTwice(o, y, time)) {
        addPair(memoryOf(other), young, 0.0);
      } else if (!isYoung(other, time) && gap <= LEADERS_PATIENCE && mayBeSeenTwice(y, o, time)) {
        // A camera of few pictures saw him first, and often enough only now.
        addPair(memoryOf(young), other, 0.0);
      }
    }
    for (const Remembered& other : remembered) {
      if (isNew && young.born > other.lastSeen &&
          secondsBetween(other.lastSeen, time) <= REMEMBERED) {
        addPair(other, young, secondsBetween(other.lastSeen, young.born));
      }
    }
  }
}

// Or has only now been seen often enough to be held against somebody else who is in sight.
bool Identities::isYoung(const Person& person, std::int64_t time) {
  const double age = secondsBetween(person.born, time);
  return age >= 0.0 && person.pictures >= COMPARED_PICTURES &&
         (age < YOUTH || (person.pictures == SEEN_TWICE_PICTURES && age < LONGEST_YOUTH));
}

// Both are in pictures now, and in none together.
bool Identities::mayBeSeenTwice(std::size_t older, std::size_t young, std::int64_t time) const {
  const Person& first = persons[older];
  const Person& second = persons[young];
  if (second.pictures < SEEN_TWICE_PICTURES || first.pictures < SEEN_TWICE_PICTURES ||
      std::tie(first.born, first.identity) > std::tie(second.born, second.identity) ||
      secondsBetween(first.lastSeen, time) > LEADERS_PATIENCE) {
    return false;
  }
  return std::ranges::none_of(aliases, [&](const Alias& one) {
    return one.person == older && one.isActive &&
           std::ranges::any_of(aliases, [&](const Alias& other) {
             return other.person == young && other.isActive && other.channel == one.channel;
           });
  });
}

void Identities::addPair(const Remembered& older, const Person& young, double gap) {
  const std::int64_t time = std::max(older.state.time, young.filter.state().time);
  const double elapsed = secondsBetween(older.lastSeen, young.filter.state().time);
  const bool isHandedOver = older.channel != young.channel;
  const Eigen::Matrix2d mounting =
      squared(MOUNTING_DEVIATION) * (isHandedOver ? 2.0 : 1.0) * young.perPixel;
  const double reach = REACH + REACH_PER_SECOND * std::max(elapsed, 0.0) +
                       (isHandedOver ? MOUNTED_APART * std::sqrt(mounting.trace()) : 0.0);
  const Eigen::Vector4d& last = older.state.mean;
  const double dt = secondsBetween(older.state.time, young.filter.state().time);
  const Eigen::Vector2d apart =
      last.head<2>() + dt * last.tail<2>() - young.filter.state().mean.head<2>();
  if (!(apart.norm() <= reach)) {
    return;
  }
  const GroundFilter::State expected = GroundFilter::predict(older.state, time);
  const GroundFilter::State found = GroundFilter::predict(young.filter.state(), time);
  const Eigen::Vector4d off = expected.mean - found.mean;
  Eigen::Matrix4d spread = expected.covariance + found.covariance;
  spread.topLeftCorner<2, 2>() += mounting;
  const double distance = off.dot(spread.inverse() * off);
  const double heightVariance =
      squared(HEIGHT_DEVIATION) + squared(young.heightDeviation) / young.pictures;
  const double far = std::max(std::log(young.perPixel.determinant() / squared(FAR_PIXEL)), 0.0);
  const double cost = distance + std::log(spread.determinant()) - far +
                      squared(young.height.metres - older.height.metres) / heightVariance +
                      GAP_COST * gap;
  if (!(distance <= JOIN_GATE) || !(cost < DEAREST)) {
    return;
  }
  if (pairs.size() < pairs.capacity()) {
    pairs.push_back({older.identity, young.identity, cost});
    return;
  }
  const auto dearest = std::ranges::max_element(pairs, {}, &Pair::cost);
  if (cost < dearest->cost) {
    *dearest = {older.identity, young.identity, cost};
  }
}

bool Identities::isContested(const Pair& pair, std::int64_t time) const {
  const Person& young = persons[indexOf(pair.young)];
  const double shown = secondsBetween(young.born, young.lastSeen);
  const double nextPicture = shown + LATE_PICTURE * shown / (young.pictures - 1);
  if (young.pictures >= CONTESTED_PICTURES || nextPicture >= YOUTH ||
      secondsBetween(young.born, time) >= CONTESTED_TIME) {
    return false;
  }
  return std::ranges::any_of(pairs, [&pair](const Pair& other) {
    const bool isOther = other.older != pair.older || other.young != pair.young;
    return isOther && (other.older == pair.older || other.young == pair.young) &&
           other.cost < pair.cost + CONTESTED_BY;
  });
}

// The young one's pictures go through the older one's filter.
void Identities::merge(std::size_t older, std::size_t young) {
  Person& person = persons[older];
  const Person& continuation = persons[young];
  const bool isSeenTwice = person.lastSeen >= continuation.born;
  if (!isSeenTwice) {
    // Seen anew, perhaps by another camera, whose mounting is another one: a step of the position
    // is no velocity.
    person.filter.loosen(mountingVariance(continuation.perPixel), 0.0);
    for (std::size_t i = 0; i < continuation.filter.keptCount(); ++i) {
      person.filter.updateUngated(continuation.filter.kept(i));
    }
    person.channel = continuation.channel;
    person.perPixel = continuation.perPixel;
    person.heightDeviation = continuation.heightDeviation;
    takeMeasured(person.height, continuation.height);
  }
  person.lastSeen = std::max(person.lastSeen, continuation.lastSeen);
  person.pictures += continuation.pictures;
  for (Alias& alias : aliases) {
    if (alias.person != young) {
      continue;
    }
    for (Alias& other : aliases) {
      if (other.person == older && other.channel == alias.channel && alias.isActive) {
        other.isActive = false;
      }
      if (other.person == older && !isSeenTwice && alias.leads) {
        other.leads = false;
      }
    }
  }
  for (Alias& alias : aliases) {
    if (alias.person == young) {
      alias.person = older;
      alias.leads = alias.leads && !isSeenTwice;
    }
  }
  forget(young);
}

// Where he was is worth nothing any more: only who he is.
void Identities::recall(std::int64_t identity, Person& young) {
  const auto known = std::ranges::find(remembered, identity, &Remembered::identity);
  BodyHeight height = known->height;
  takeMeasured(height, young.height);
  young.identity = identity;
  young.born = known->born;
  young.pictures += known->pictures;
  young.height = height;
  remembered.erase(known);
}

// ---- Storage ----

Identities::Remembered Identities::memoryOf(const Person& person) {
  return {person.identity, person.born,   person.lastSeen,      person.channel,
          person.pictures, person.height, person.filter.state()};
}

void Identities::remember(const Person& person) {
  if (person.pictures < COMPARED_PICTURES) {
    return;
  }
  if (remembered.size() < MOST_REMEMBERED) {
    remembered.push_back(memoryOf(person));
    return;
  }
  const auto longestLost = std::ranges::min_element(remembered, {}, &Remembered::lastSeen);
  if (longestLost->lastSeen < person.lastSeen) {
    *longestLost = memoryOf(person);
  }
}

void Identities::expire(std::int64_t now) {
  std::erase_if(remembered, [now](const Remembered& each) {
    return secondsBetween(each.lastSeen, now) > REMEMBERED;
  });
  for (std::size_t i = persons.size(); i > 0; --i) {
    if (secondsBetween(persons[i - 1].lastSeen, now) > COAST) {
      remember(persons[i - 1]);
      forget(i - 1);
    }
  }
}

const Person* Identities::find(std::int64_t identity) const {
  const std::size_t index = indexOf(identity);
  return index < persons.size() ? &persons[index] : nullptr;
}

const Person* Identities::whoIs(std::int32_t channel, std::int32_t id) const {
  const std::size_t place = placeOf(channel, id);
  return isAt(place, channel, id) ? &persons[aliases[place].person] : nullptr;
}

std::size_t Identities::indexOf(std::int64_t identity) const {
  const auto found = std::ranges::find(persons, identity, &Person::identity);
  return static_cast<std::size_t>(found - persons.begin());
}

// Where it is, or would have to be put.
std::size_t Identities::placeOf(std::int32_t channel, std::int32_t id) const {
  const auto place =
      std::ranges::lower_bound(aliases, keyOf(channel, id), {},
                               [](const Alias& alias) { return keyOf(alias.channel, alias.id); });
  return static_cast<std::size_t>(place - aliases.begin());
}

bool Identities::isAt(std::size_t place, std::int32_t channel, std::int32_t id) const {
  return place < aliases.size() && aliases[place].channel == channel && aliases[place].id == id;
}

// The last one takes the place of the one who goes.
void Identities::forget(std::size_t index) {
  std::erase_if(aliases, [index](const Alias& alias) { return alias.person == index; });
  const std::size_t last = persons.size() - 1;
  if (index != last) {
    persons[index] = persons[last];
    for (Alias& alias : aliases) {
      if (alias.person == last) {
        alias.person = index;
      }
    }
  }
  persons.pop_back();
}

bool Identities::makeRoom(std::int64_t time) {
  if (aliases.size() == aliases.capacity()) {
    std::erase_if(aliases, [](const Alias& alias) { return !alias.isActive; });
  }
  if (persons.size() < capacity && aliases.size() < aliases.capacity()) {
    return true;
  }
  const auto longestLost = std::ranges::min_element(persons, {}, &Person::lastSeen);
  if (longestLost->lastSeen >= time) {
    return false;
  }
  forget(static_cast<std::size_t>(longestLost - persons.begin()));
  return true;
}

}  // namespace following
