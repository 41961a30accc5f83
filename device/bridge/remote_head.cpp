#include "bridge/remote_head.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "base/text.h"
#include "base/units.h"
#include "bridge/head_outcome.h"
#include "onvif/namespaces.h"
#include "onvif_client/xml_number.h"

namespace device::bridge {

namespace {

using onvif::SoapReply;
using onvif::Tag;
using onvif::XmlElement;
namespace ns = onvif::ns;

constexpr std::int64_t SLOW = 200000;  // microseconds from a question to its answer
constexpr std::int64_t MINUTE = units::fromSeconds(60);
constexpr std::int64_t LAST_WORD = 1000000;  // microseconds
constexpr std::int64_t BESIDE = 500000;      // so long its turn is waited for
constexpr std::int64_t STREAM_QUIET = 300000;
constexpr std::int64_t MOST_LATE = 10000000;  // of metadata; beyond, a clock was set
constexpr double SMOOTHING = 0.1;
constexpr std::size_t SHORTEST_PRODUCT = 5;
constexpr double TENTHS = 10;
constexpr double SAME_PLACE = 0.5;  // degrees
constexpr int SAME_ZOOM = 50;
constexpr int MOST_PRESETS = 1000;
constexpr int MOST_REFUSALS = 3;  // of what it can

// As the application tells products apart: at least so long, without blanks.
std::string productOf(std::string name) {
  std::ranges::replace(name, ' ', '-');
  name.resize(std::max(name.size(), SHORTEST_PRODUCT), '-');
  return name.starts_with("K47") ? "-" + name : name;
}

std::string tenthsOf(double degrees) {
  return std::to_string(std::lround(degrees * TENTHS));
}

}  // namespace

RemoteHead::RemoteHead(const HeadSettings& settings, const onvif::Login& login, Announce announce)
    : settings(settings),
      announce(std::move(announce)),
      map({}, settings.told),
      moves("", map),
      sight(settings.believesMoves),
      link(settings.address, login, true, settings.usesMetadata,
           {.onFound = [this](const CameraFound& camera) { found(camera); },
            .onMetadata = [this](const auto& arrival) { metadataCame(arrival); },
            .onLost = [] {},
            .announce = this->announce}),
      timer(TICK, [this] { step(); }) {
  if (!settings.heedsTimeout) {
    tellNoTimeout("The head does not stop by itself when its time is over, as its check has found");
  }
}

RemoteHead::~RemoteHead() = default;

void RemoteHead::command(const HeadCommand& command) {
  if (isEnding) {
    return;
  }
  moves.command(command, g_get_monotonic_time());
  sendMove(g_get_monotonic_time());
}

void RemoteHead::goHome(int speed) {
  if (isEnding) {
    return;
  }
  moves.goHome(speed, g_get_monotonic_time());
  sendMove(g_get_monotonic_time());
}

bool RemoteHead::setPreset(int preset) {
  if (preset < 1 || preset > MOST_PRESETS || !areFactsKnown) {
    return false;
  }
  const HeadStatus here = presentStatus();
  Tag operation = withProfile("tptz:SetPreset");
  operation.add(Tag("tptz:PresetName", "SentrelVideo " + std::to_string(preset)));
  if (const auto present = presetTable.find(preset); present != presetTable.end()) {
    operation.add(Tag("tptz:PresetToken", present->second.token));
  }
  link.getCalls().call(service(), std::move(operation), [this, preset, here](const auto& reply) {
    const auto token =
        reply.ok() ? reply.body().child(ns::PTZ, "PresetToken") : std::optional<XmlElement>();
    if (token) {
      presetTable[preset] = {token->text(), {here.pan, here.tilt, here.zoom}};
    } else {
      announce("The head has not kept the preset");
    }
  });
  return true;
}

bool RemoteHead::goToPreset(int preset, int speed) {
  const auto found = presetTable.find(preset);
  if (isEnding || found == presetTable.end()) {
    return false;
  }
  moves.goToPreset(found->second.token, speed, g_get_monotonic_time());
  return true;
}

std::map<int, HeadPosition> RemoteHead::presets() {
  std::map<int, HeadPosition> result;
  for (const auto& [number, preset] : presetTable) {
    result[number] = preset.position;
  }
  return result;
}

std::optional<HeadStatus> RemoteHead::toldStatus() {
  return sight.status(g_get_monotonic_time());
}

HeadStatus RemoteHead::presentStatus() {
  const auto taken = sight.getTaken();
  return taken ? sight.status(*taken).value_or(HeadStatus()) : HeadStatus();
}

int RemoteHead::presetHere() {
  const HeadStatus here = presentStatus();
  if (here.moving()) {
    return 0;
  }
  for (const auto& [number, preset] : presetTable) {
    const HeadPosition& there = preset.position;
    if (std::abs(units::wrapped(here.pan - there.pan)) <= SAME_PLACE &&
        std::abs(here.tilt - there.tilt) <= SAME_PLACE &&
        std::abs(here.zoom - there.zoom) <= SAME_ZOOM) {
      return number;
    }
  }
  return 0;
}

const std::map<std::string, std::string>* RemoteHead::parameters() const {
  return known.empty() ? nullptr : &known;
}

void RemoteHead::stopForGood() {
  if (!areFactsKnown || isHeld || !isToBeStopped(g_get_monotonic_time())) {
    return moves.forget();
  }
  isEnding = true;
  const std::int64_t begun = g_get_monotonic_time();
  moves.stop(begun);
  sendMove(begun);
  bool isSentBeside = false;
  bool isSentBySpeeds = false;
  for (std::int64_t now = begun; isToBeStopped(now) && now - begun < LAST_WORD;
       now = g_get_monotonic_time()) {
    const bool isLate = now - begun >= BESIDE;
    if (isLate && moves.isUnderWay() && !moves.isStopOnItsWay() &&
        !std::exchange(isSentBeside, true)) {
      sendStopBeside();
    }
    if (isLate && !moves.isUnderWay() && !std::exchange(isSentBySpeeds, true)) {
      moves.stopBySpeeds(now);  // it has answered, and goes on
      sendMove(now);
    }
    g_main_context_iteration(g_main_context_get_thread_default(), TRUE);  // the timer's at least
  }
  isEnding = false;
}

// Some answer a Stop and go on: what was seen before it says nothing.
bool RemoteHead::isToBeStopped(std::int64_t now) const {
  const auto seen = moves.isStopUnseen() ? sight.status(now) : std::nullopt;
  return moves.isUnderWay() || (seen && (seen->moving() || takenAtLeast() <= moves.getLastStop()));
}

// The last status: the answer may have taken its time on the way here, and the head to say it.
std::int64_t RemoteHead::takenAtLeast() const {
  return sight.getTaken().value_or(0) - roundTrip / 2 -
         units::roundedFromSeconds(settings.statusAge.value_or(0));
}

// The answer to the call before it does not come: better out of turn than never.
void RemoteHead::sendStopBeside() {
  Tag operation = withProfile("tptz:Stop");
  operation.add(Tag("tptz:PanTilt", true)).add(Tag("tptz:Zoom", true));
  link.getCalls().call(service(), std::move(operation), [](const SoapReply&) {});
}

void RemoteHead::found(const CameraFound& camera) {
  node = camera.profile.ptzNode;
  refusals = 0;
  moves.foundAnew();
  askFacts();
}

void RemoteHead::askFacts() {
  ++factsRound;
  factsDue.reset();
  isAnyRefused = false;
  ask(Tag("tptz:GetNodes"), &Told::nodes, &RemoteHead::askConfigurations);  // some have no GetNode
}

// Only what the head says that it does not have is not there: who is silent, or busy with its
// start, is asked again. What it refuses over and over is gone by without, as it was told before
// if it was, and asked for again later.
void RemoteHead::ask(Tag operation, std::optional<SoapReply> Told::*answer, Next next) {
  link.getCalls().call(
      service(), std::move(operation),
      [this, answer, next, round = factsRound](const SoapReply& reply) {
        if (round != factsRound) {
          return;  // it was found anew meanwhile
        }
        const bool isRefused = !reply.ok() && reply.failure().trouble == onvif::Trouble::refused;
        const bool isAnswer = reply.ok() || reply.failure().trouble == onvif::Trouble::missing;
        if (!isAnswer && !(isRefused && ++refusals >= MOST_REFUSALS)) {
          return askFactsLater(reply.failure());
        }
        if (isAnswer) {
          told.*answer = reply;
        }
        isAnyRefused = isAnyRefused || isRefused;
        (this->*next)();
      });
}

void RemoteHead::askFactsLater(const onvif::Failure& failure) {
  tell(&factsTrouble, "The head does not say what it can. " + failure.words);
  factsDue = g_get_monotonic_time() + factsPause.next();
}

void RemoteHead::askConfigurations() {
  ask(Tag("tptz:GetConfigurations"), &Told::configurations, &RemoteHead::askOptions);
}

void RemoteHead::askOptions() {
  const std::string token = link.getFound() ? link.getFound()->profile.ptz : "";
  ask(Tag("tptz:GetConfigurationOptions", Tag("tptz:ConfigurationToken", token)), &Told::options,
      &RemoteHead::allAsked);
}

void RemoteHead::allAsked() {
  if (isAnyRefused) {
    factsDue = g_get_monotonic_time() + factsPause.next();
  } else {
    factsPause.succeeded();
    tell(&factsTrouble, "");
  }
  nowKnown();
  link.getCalls().call(service(), withProfile("tptz:GetPresets"),
                       [this](const SoapReply& presets) { presetsCame(presets); });
}

// What is not told is not known: each answer may be missing.
HeadFacts RemoteHead::factsTold() const {
  const auto has = [](const std::optional<SoapReply>& reply) { return reply && reply->ok(); };
  const std::string token = link.getFound() ? link.getFound()->profile.ptz : "";
  HeadFacts facts;
  if (has(told.nodes)) {
    onvif::readNodeFacts(told.nodes->body(), node, &facts);
  }
  for (const XmlElement& one : has(told.configurations) ? told.configurations->body().children()
                                                        : std::vector<XmlElement>()) {
    if (one.attribute("token") == token) {
      onvif::readHeadFacts(one, &facts);
    }
  }
  if (has(told.options) && told.options->body().firstChild()) {
    onvif::readHeadFacts(*told.options->body().firstChild(), &facts);
  }
  return facts;
}

void RemoteHead::nowKnown() {
  if (!link.getFound()) {
    return;
  }
  map = HeadMap(factsTold(), settings.told);
  moves.setHead(link.getFound()->profile.token, map);
  areFactsKnown = true;
  statusDue = 0;
  const std::string missing = map.whatIsMissing();
  if (std::exchange(missingTold, missing) != missing && !missing.empty()) {
    announce(missing);
  }
  if (missing.empty()) {
    tellParameters();
  }
}

void RemoteHead::tellParameters() {
  const CameraFound& camera = *link.getFound();
  known = {{"Brand.ProdNbr",
            productOf(settings.product.empty() ? camera.identity.model : settings.product)},
           {"PTZ.Limit.L1.MinFieldAngle", tenthsOf(settings.told.fieldAngles.low)},
           {"PTZ.Limit.L1.MaxFieldAngle", tenthsOf(settings.told.fieldAngles.high)},
           {"PTZ.Limit.L1.MinZoom", std::to_string(HeadMap::LEAST_ZOOM)},
           {"PTZ.Limit.L1.MaxZoom", std::to_string(HeadMap::MOST_ZOOM)},
           {"ImageSource.I0.Sensor.AspectRatio", "16:9"},
           {"Image.I0.Appearance.Resolution", "1920x1080"},
           {"ImageSource.I0.Video.DetectedType", ""}};
  const onvif::MediaProfile& profile = camera.profile;
  if (profile.pictureWidth > 0 && profile.pictureHeight > 0) {
    const int common = std::gcd(profile.pictureWidth, profile.pictureHeight);
    known["ImageSource.I0.Sensor.AspectRatio"] = std::to_string(profile.pictureWidth / common) +
                                                 ":" +
                                                 std::to_string(profile.pictureHeight / common);
    known["Image.I0.Appearance.Resolution"] =
        std::to_string(profile.pictureWidth) + "x" + std::to_string(profile.pictureHeight);
  }
  const auto axes = map.limits();
  const auto add = [&](const std::string& name, const Range& range) {
    known["PTZ.Limit.L1.Min" + name] = text::formatted("%.2f", range.low);
    known["PTZ.Limit.L1.Max" + name] = text::formatted("%.2f", range.high);
  };
  if (axes && axes->pan.high - axes->pan.low < units::FULL_TURN) {
    add("Pan", axes->pan);
  }
  if (axes) {
    add("Tilt", axes->tilt);
  }
}

// A preset that was known before keeps its number.
void RemoteHead::presetsCame(const SoapReply& reply) {
  if (!reply.ok()) {
    return;
  }
  const std::map<int, Preset> former = std::exchange(presetTable, {});
  std::vector<XmlElement> unknown;
  for (const XmlElement& element : reply.body().children()) {
    const auto known = std::ranges::find_if(
        former, [&](const auto& one) { return one.second.token == element.attribute("token"); });
    if (known == former.end()) {
      unknown.push_back(element);
    } else {
      presetTable[known->first] = presetOf(element).value_or(known->second);
    }
  }
  for (const XmlElement& element : unknown) {
    addPreset(element);
  }
}

// Under the number that its token is, if that is free.
void RemoteHead::addPreset(const XmlElement& element) {
  const std::string token = element.attribute("token").value_or("");
  const auto number = text::toNumber<int>(token);
  int key = 1;
  if (number && *number >= 1 && !presetTable.contains(*number)) {
    key = *number;
  }
  while (presetTable.contains(key)) {
    ++key;
  }
  if (!token.empty() && key <= MOST_PRESETS) {
    presetTable[key] = presetOf(element).value_or(Preset{token, {}});
  }
}

// Nothing without a place.
std::optional<RemoteHead::Preset> RemoteHead::presetOf(const XmlElement& element) const {
  const auto position = element.child(ns::SCHEMA, "PTZPosition");
  if (!position) {
    return std::nullopt;
  }
  const HeadReading there = onvif::readHeadPosition(*position);
  const auto degrees = there.panTilt ? map.degreesOf(*there.panTilt) : std::nullopt;
  return Preset{element.attribute("token").value_or(""),
                {degrees ? degrees->pan : 0, degrees ? degrees->tilt : 0,
                 map.zoomOf(there).value_or(HeadMap::LEAST_ZOOM)}};
}

void RemoteHead::step() {
  const std::int64_t now = g_get_monotonic_time();
  if (factsDue && now >= *factsDue) {
    askFacts();
  }
  sendMove(now);
  // The stream did instead of the polls that fail, and says nothing new any more.
  if (streamCounted && now - *streamCounted > STREAM_QUIET && !statusTrouble.empty()) {
    streamCounted.reset();
    statusPause.succeeded();
    statusDue = now;
  }
  askStatus(now);
}

void RemoteHead::sendMove(std::int64_t now) {
  if (!areFactsKnown || isHeld) {
    return;
  }
  auto call = moves.next(now, sight.status(now), takenAtLeast());
  if (!call) {
    return;
  }
  link.getCalls().call(service(), std::move(call->operation),
                       [this, hadTimeout = call->hasTimeout](const SoapReply& reply) {
                         moveAnswered(reply, hadTimeout);
                       });
  if (moves.isCompromised() && !std::exchange(isCompromiseTold, true)) {
    announce("The head cannot go to a place on one axis and at a speed on the other at a time");
  }
}

void RemoteHead::moveAnswered(const SoapReply& reply, bool hadTimeout) {
  const std::int64_t now = g_get_monotonic_time();
  const HeadMoves::Outcome outcome = outcomeOf(reply, hadTimeout);
  moves.answered(outcome, now);
  if (moves.isWithoutTimeout()) {
    tellNoTimeout("The head takes no time after which it is to stop by itself");
  }
  if (!outcome.isTimeoutRefused) {
    tell(&moveTrouble,
         reply.ok() ? "" : "The head does not do as it is told. " + reply.failure().words);
  }
  sendMove(now);
}

void RemoteHead::tellNoTimeout(const std::string& what) {
  if (!std::exchange(isNoTimeoutTold, true)) {
    announce(what +
             ": this bridge alone stops it, and nothing does when this machine or the network "
             "fails");
  }
}

void RemoteHead::askStatus(std::int64_t now) {
  if (!areFactsKnown || isStatusAsked || now < statusDue) {
    return;
  }
  isStatusAsked = true;
  link.getCalls().call(service(), withProfile("tptz:GetStatus"),
                       [this, now](const SoapReply& reply) { statusCame(reply, now); });
}

// It was taken somewhere between the question and the answer.
void RemoteHead::statusCame(const SoapReply& reply, std::int64_t asked) {
  const std::int64_t now = g_get_monotonic_time();
  isStatusAsked = false;
  const auto status =
      reply.ok() ? reply.body().child(ns::PTZ, "PTZStatus") : std::optional<XmlElement>();
  if (!status) {
    statusDue = now + statusPause.next();
    zoomNow.reset();
    const std::string why = reply.ok() ? "Its answer is empty" : reply.failure().words;
    return tell(&statusTrouble, "The head does not say where it is. " + why);
  }
  statusPause.succeeded();
  tell(&statusTrouble, "");
  measure(now - asked, now);
  statusDue = asked + std::max(STATUS_PERIOD, 2 * roundTrip);
  const HeadReading reading = onvif::readHeadReading(*status);
  if (map.zoomLaw(reading) == ZoomLaw::guessed && !std::exchange(isGuessTold, true)) {
    announce(
        "The head does not tell its field angle: until a zoom table is measured, pictures are "
        "framed by a guess");
  }
  zoomNow = reading.zoom ? std::optional(Zoom{reading.zoom->x, map.isInMillimetres(*reading.zoom)})
                         : std::nullopt;
  lastPolled = now;
  const std::int64_t taken = asked + (now - asked) / 2;
  clock.timeOf(reading.time, std::nullopt, taken);
  sight.told(reading, map, taken);
}

// By the clock that the polls have set: a stream may be late, and what was polled since is newer.
// While no poll is answered the head's clock may be set: then the stream sets its own, as late as
// it was. A time that stands still makes no status new.
std::int64_t RemoteHead::momentOf(const HeadReading& reading,
                                  const onvif::MetadataArrival& arrival) {
  if (!reading.time) {
    return arrival.time;
  }
  if (streamTime != reading.time) {
    streamTime = reading.time;
    streamTimeBegun = arrival.time;
  }
  const auto byPolls = clock.at(*reading.time);
  const bool isPolled = arrival.time - lastPolled <= HeadSight::GOOD_FOR;
  std::int64_t taken = arrival.time;
  if (isPolled && byPolls) {
    taken = std::min(*byPolls, arrival.time);
    const std::int64_t late = arrival.time - taken;
    streamLateness = late <= MOST_LATE ? late : streamLateness;
    streamClock = FrameClock();
  } else {
    taken = streamClock.timeOf(reading.time, arrival.sent, arrival.time) - streamLateness;
  }
  return std::min(taken, streamTimeBegun + HeadSight::GOOD_FOR);
}

void RemoteHead::metadataCame(const onvif::MetadataArrival& arrival) try {
  if (!areFactsKnown) {
    return;
  }
  for (const HeadReading& reading : onvif::readMetadata(arrival.document).head) {
    const auto before = sight.getTaken();
    sight.told(reading, map, momentOf(reading, arrival));
    streamCounted = sight.getTaken() != before ? arrival.time : streamCounted;
  }
} catch (const onvif::MetadataError&) {
  // Its status is asked for besides.
}

void RemoteHead::measure(std::int64_t trip, std::int64_t now) {
  const double known = roundTrip == 0 ? static_cast<double>(trip) : static_cast<double>(roundTrip);
  roundTrip = static_cast<std::int64_t>(known + SMOOTHING * (static_cast<double>(trip) - known));
  const bool isDue = slownessTold == 0 || now - slownessTold >= MINUTE;
  if (roundTrip > SLOW && isDue) {
    slownessTold = now;
    announce("The head takes " + std::to_string(roundTrip / units::MICROSECONDS_PER_MILLISECOND) +
             " ms for an answer: it will follow late");
  }
}

void RemoteHead::tell(std::string* last, const std::string& words) {
  if (std::exchange(*last, words) == words) {
    return;
  }
  announce(words.empty() ? "The head answers again" : words);
}

std::string RemoteHead::service() const {
  const auto& found = link.getFound();
  const auto address =
      found ? found->services.find(ns::PTZ) : onvif::ServiceAddresses::const_iterator();
  return found && address != found->services.end() ? address->second : settings.address.device;
}

Tag RemoteHead::withProfile(const char* name) const {
  const auto& found = link.getFound();
  return Tag(name, Tag("tptz:ProfileToken", found ? found->profile.token : ""));
}

}  // namespace device::bridge
