#include "tracker/tracker.h"

#include <syslog.h>

#include <utility>

#include "app/clock.h"
#include "base/units.h"
#include "config/persistent.h"

namespace {

// Sleeps between steps, microseconds.
constexpr std::int64_t STOPPED_PAUSE = 300000;
constexpr std::int64_t CONNECTING_PAUSE = 500000;
constexpr std::int64_t AUTOTUNING_PAUSE = 50000;

constexpr std::size_t SHORTEST_PRODUCT_NUMBER = 5;

}  // namespace

Mutex Tracker::s_instanceMutex;
std::unique_ptr<Tracker> Tracker::s_tracker;
std::int32_t Tracker::s_referenceCount = 0;

Tracker& Tracker::getInstance() {
  const LockGuard lock(s_instanceMutex);
  if (s_referenceCount == 0) {
    s_tracker.reset(new Tracker());
  }
  ++s_referenceCount;
  return *s_tracker;
}

void Tracker::releaseInstance() {
  const LockGuard lock(s_instanceMutex);
  if (--s_referenceCount <= 0) {
    s_tracker.reset();
    s_referenceCount = 0;
  }
}

Tracker::Tracker() : ptzRemote(std::make_unique<PtzRemoteTravo>()) {
  way.loadGains();
  const bool isEnabled = Persistent::getSentrelEnabled();
  observations.setSwitchObject(Persistent::getSwitchObject());
  observations.setTimePerObject(Persistent::getTimePerObject());
  homing.setEnabled(Persistent::getReturnToHomeEnabled());
  homing.setTimeout(Persistent::getReturnToHomeTimeout());
  optics.zoomScale.zoomCorrection = Persistent::getZoomCorrection();
  state.declareEvents();
  head.initialize();
  start(&Tracker::run, this);
  if (isEnabled) {
    setState(CameraState::connecting);
  }
}

Tracker::~Tracker() {
  setState(CameraState::stopped);
  head.ptzStop();
  stop();
  join();
  ptzRemote.reset();
  observations.clear();
  state.undeclareEvents();
  head.cleanup();
}

void Tracker::trackCameraCenter(int camera) {
  const Observations::Center center(observations, camera);
  if (center.isThere()) {
    update();
  }
}

// ---- State and settings ----

void Tracker::enableSentrel(bool on) {
  if (on) {
    if (state.change(CameraState::stopped, CameraState::connecting)) {
      Persistent::setSentrelEnabled(true);
    }
    return;
  }
  if (state.exchange(CameraState::stopped) == CameraState::stopped) {
    return;
  }
  ptzRemote->cancel();
  state.tellSteering(false);
  state.tell();
  head.ptzStop();
  Persistent::setSentrelEnabled(false);
}

void Tracker::setState(CameraState newState) {
  if (state.exchange(newState) == newState) {
    return;
  }
  if (newState == CameraState::stopped) {
    ptzRemote->cancel();
    state.tellSteering(false);
  }
  state.tell();
}

void Tracker::setSwitchObject(bool on) {
  if (observations.setSwitchObject(on)) {
    Persistent::setSwitchObject(on);
  }
}

void Tracker::setTimePerObject(int seconds) {
  if (observations.setTimePerObject(seconds)) {
    Persistent::setTimePerObject(seconds);
  }
}

void Tracker::setReturnToHomeEnabled(bool on) {
  if (homing.setEnabled(on)) {
    Persistent::setReturnToHomeEnabled(on);
  }
}

void Tracker::setReturnToHomeTimeout(int seconds) {
  if (homing.setTimeout(seconds)) {
    Persistent::setReturnToHomeTimeout(seconds);
  }
}

void Tracker::setZoomCorrectionValue(double correction) {
  if (optics.zoomScale.zoomCorrection != correction) {
    optics.zoomScale.zoomCorrection = correction;
    Persistent::setZoomCorrection(correction);
  }
}

// ---- The thread ----

gpointer Tracker::run(gpointer self) {
  auto& tracker = *static_cast<Tracker*>(self);
  while (tracker.isRunning()) {
    utils::sleep(tracker.runOneStep());
  }
  tracker.head.ptzStop();
  return nullptr;
}

// Returns how long to sleep until the next one, microseconds.
std::int64_t Tracker::runOneStep() {
  // Before the state is looked at: whoever switches off from here on cuts short what the step asks.
  const PtzRemoteTravo::Attempt attempt(*ptzRemote);
  const std::int64_t begin = utils::monotonicTime();
  std::int64_t pause = 0;
  const CameraState before = state.get();
  switch (before) {
    case CameraState::stopped:
      pause = STOPPED_PAUSE;
      break;
    case CameraState::connecting:
      connect();
      pause = CONNECTING_PAUSE;
      break;
    case CameraState::autotuning:
      autotune();
      pause = AUTOTUNING_PAUSE;
      break;
    case CameraState::running:
      update();
      pause = follower.pauseAfter(utils::monotonicTime() - begin);
      break;
    default:
      syslog(LOG_ERR, "Tracker in a bad state\n");
      return 0;
  }
  if (wasSwitchedOff(before, state.get())) {
    follower.stop();
  }
  return pause;
}

// Whether tracking was switched off, and perhaps on again, while a step was under way.
bool Tracker::wasSwitchedOff(CameraState before, CameraState after) {
  if (after == CameraState::stopped) {
    return before != CameraState::stopped;
  }
  return after == CameraState::connecting &&
         (before == CameraState::running || before == CameraState::autotuning);
}

// ---- Connecting and tuning ----

// What is read before a failure is kept.
bool Tracker::readHead() {
  ZoomScale& scale = optics.zoomScale;
  return ptzRemote->getMinFieldAngle(scale.minFieldAngle) &&
         ptzRemote->getMaxFieldAngle(scale.maxFieldAngle) && ptzRemote->getMinZoom(scale.minZoom) &&
         ptzRemote->getMaxZoom(scale.maxZoom) && ptzRemote->getAspectRatio(optics.aspectRatio);
}

void Tracker::connect() {
  const PtzRemoteTravo::Attempt attempt(*ptzRemote);
  if (!head.initialize() || !readHead()) {
    return;
  }
  const double widest = optics.zoomScale.maxFieldAngle;
  setWidestView({widest, widest / optics.aspectRatio});
  std::string number;
  if (!ptzRemote->getProdNbr(number) || number.size() < SHORTEST_PRODUCT_NUMBER) {
    return;
  }
  way.choose(number, *ptzRemote, utils::monotonicTime());
  follower.use(way.getFollowing());
  if (way.isHeadKnown()) {
    state.change(CameraState::connecting, CameraState::running);
    return;
  }
  way.startTuning(autotuner);
  state.change(CameraState::connecting, CameraState::autotuning);
}

void Tracker::autotune() {
  const AutotuneFinding finding = autotuner.step();
  if (finding.zoomCorrection) {
    setZoomCorrectionValue(*finding.zoomCorrection);
  }
  way.take(finding);
  follower.use(way.getFollowing());
  if (finding.isFinished) {
    state.change(CameraState::autotuning, CameraState::running);
  }
}

// ---- Following ----

// Whether to connect anew is asked while the head rests: the answer may take its time.
void Tracker::update() {
  follower.step(optics, observations);
  if (!state.isSteering() && way.isOutdated(utils::monotonicTime())) {
    state.change(CameraState::running, CameraState::connecting);
  }
}

// Who has switched off is told of no aim any more, though no step may have come to forget it.
std::optional<Insight> Tracker::insight() const {
  auto [head, aim] = way.view();
  if (state.get() != CameraState::running) {
    aim.reset();
  }
  const std::int64_t now = utils::monotonicTime();
  const std::int64_t at = now + (aim ? units::roundedFromSeconds(aim->ahead) : 0);
  auto people = observations.peopleInsight(now, at);
  if (!people) {
    return std::nullopt;
  }
  if (!aim) {
    for (PersonInsight& person : *people) {
      person.isFollowed = false;
    }
  }
  return Insight{head, aim, std::move(*people)};
}

void Tracker::returnToHomeReset() {
  homing.rearm(utils::monotonicTime());
}
