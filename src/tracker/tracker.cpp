#include "tracker/tracker.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "app/clock.h"
#include "config/persistent.h"

namespace {

// Sleeps between steps, microseconds.
constexpr std::int64_t STOPPED_PAUSE = 300000;
constexpr std::int64_t CONNECTING_PAUSE = 500000;
constexpr std::int64_t AUTOTUNING_PAUSE = 50000;
constexpr std::int64_t RUNNING_PAUSE = 100000;

constexpr std::array STATE_STRINGS{"stopped", "connecting", "autotuning", "running"};

constexpr std::size_t SHORTEST_PRODUCT_NUMBER = 5;
constexpr const char* ABSOLUTE_ZOOM_HEADS = "K47";

constexpr double MIN_MULTIPLIER = 1.0;
constexpr double MAX_MULTIPLIER = 6.0;
constexpr double ZOOM_RATIO_LOW = 0.8;
constexpr double ZOOM_RATIO_HIGH = 1.2;
constexpr std::int64_t ABSOLUTE_ZOOM_INTERVAL = 1000000;  // microseconds
constexpr std::int64_t MICROSECONDS_PER_SECOND = 1000000;
constexpr int MAX_STATUS_FAILURES = 10;  // in a row, until a moving head is stopped

constexpr std::int16_t CENTER_SIZE = 2048;  // Q12
constexpr int CENTER_OBJECT_ID = 0;
constexpr int CENTER_PRIORITY = 1;

Point saturatedPoint(std::int32_t x, std::int32_t y) {
  using Limits = std::numeric_limits<std::int16_t>;
  const auto saturate = [](std::int32_t value) {
    return static_cast<std::int16_t>(std::clamp<std::int32_t>(value, Limits::min(), Limits::max()));
  };
  return {saturate(x), saturate(y)};
}

}  // namespace

std::unique_ptr<Tracker> Tracker::s_tracker;
std::int32_t Tracker::s_referenceCount = 0;
std::mutex Tracker::s_instanceMutex;

Tracker& Tracker::getInstance() {
  const std::lock_guard lock(s_instanceMutex);
  if (s_referenceCount == 0) {
    s_tracker.reset(new Tracker());
  }
  ++s_referenceCount;
  return *s_tracker;
}

void Tracker::releaseInstance() {
  const std::lock_guard lock(s_instanceMutex);
  if (--s_referenceCount <= 0) {
    s_tracker.reset();
    s_referenceCount = 0;
  }
}

Tracker::Tracker()
    : superObjectManager(std::make_unique<SuperObjectManager>()),
      regulator(std::make_unique<Regulator>()),
      ptzRemote(std::make_unique<PtzRemoteTravo>()),
      autotuner(
          std::make_unique<Autotuner>(head, *regulator, static_cast<AutotuneListener&>(*this))) {
  Persistent::getCameraName(cameraName);
  double kp = 0.0;
  double ki = 0.0;
  double kd = 0.0;
  Persistent::getCameraPanPid(kp, ki, kd);
  regulator->setPanPid(kp, ki, kd);
  Persistent::getCameraTiltPid(kp, ki, kd);
  regulator->setTiltPid(kp, ki, kd);
  const bool isEnabled = Persistent::getSentrelEnabled();
  superObjectManager->setSwitchObject(Persistent::getSwitchObject());
  superObjectManager->setTimePerObject(Persistent::getTimePerObject());
  returnToHomeEnabled = Persistent::getReturnToHomeEnabled();
  returnToHomeTimeout = Persistent::getReturnToHomeTimeout();
  zoomScale.zoomCorrection = Persistent::getZoomCorrection();
  events.declareEvents();
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
  superObjectManager.reset();
  regulator.reset();
  videoChannels.clear();
  events.undeclareEvents();
  head.cleanup();
}

// ---- What guards report ----

bool Tracker::addCamera(int camera) {
  if (camera < 1) {
    return false;
  }
  {
    const std::lock_guard lock(mutex);
    if (videoChannels.getVideoChannel(camera - 1) != nullptr) {
      return videoChannels.addChannel(camera - 1);
    }
  }
  // Asks the device, which may take its time: not while the control step waits for the mutex.
  auto channel = VideoChannels::createChannel(camera - 1);
  const std::lock_guard lock(mutex);
  return videoChannels.addChannel(std::move(channel));
}

void Tracker::removeCamera(int camera) {
  const std::lock_guard lock(mutex);
  if (videoChannels.removeChannel(camera - 1)) {
    superObjectManager->removeSingleObjects(camera - 1);
  }
}

void Tracker::track(int camera, int profileId, const TrackingObject& object) {
  const std::lock_guard lock(mutex);
  VideoChannel* channel = videoChannels.getVideoChannel(camera - 1);
  if (channel == nullptr) {
    return;
  }
  channel->followRotation();  // before anything of the observation is turned
  const PointF position = channel->toImagePosition(object.getPosition());
  const PointF size = channel->toImageSize(
      saturatedPoint(object.getAspectCorrectedWidth(), object.getAspectCorrectedHeight()));
  const PointF velocity =
      channel->toImageVelocity({object.getVelocity().x, object.getVelocity().y});
  double pan = 0.0;
  double tilt = 0.0;
  double width = 0.0;
  double height = 0.0;
  if (!channel->getPanTilt(position, size, pan, tilt, width, height)) {
    return;
  }
  const PointF angularVelocity = channel->getAngle(position, velocity);
  if (!SuperObjectManager::objectSizeValid(width, height)) {
    superObjectManager->removeSingleObject(camera - 1, object.getId());
    return;
  }
  superObjectManager->updateSingleObject({.channel = camera - 1,
                                          .id = object.getId(),
                                          .priority = profileId,
                                          .pan = pan,
                                          .tilt = tilt,
                                          .width = width,
                                          .height = height,
                                          .timestamp = object.getLastSeen(),
                                          .velocity = angularVelocity});
}

void Tracker::hold(int camera, int objectId, const void* holder) {
  const std::lock_guard lock(mutex);
  holders[{camera, objectId}].insert(holder);
}

void Tracker::letGo(int camera, int objectId, const void* holder) {
  const std::lock_guard lock(mutex);
  const auto held = holders.find({camera, objectId});
  if (held == holders.end() || held->second.erase(holder) == 0 || !held->second.empty()) {
    return;
  }
  holders.erase(held);
  untrack(camera, objectId);
}

void Tracker::untrack(int camera, int objectId) {
  const std::lock_guard lock(mutex);
  if (videoChannels.getVideoChannel(camera - 1) != nullptr) {
    superObjectManager->removeSingleObject(camera - 1, objectId);
  }
}

void Tracker::trackCameraCenter(int camera) {
  const std::lock_guard lock(mutex);
  VideoChannel* channel = videoChannels.getVideoChannel(camera - 1);
  if (channel == nullptr) {
    return;
  }
  channel->followRotation();
  double pan = 0.0;
  double tilt = 0.0;
  double width = 0.0;
  double height = 0.0;
  if (!channel->getPanTilt(channel->toImagePosition({0, 0}),
                           channel->toImageSize({CENTER_SIZE, CENTER_SIZE}), pan, tilt, width,
                           height)) {
    return;
  }
  superObjectManager->updateSingleObject({.channel = camera - 1,
                                          .id = CENTER_OBJECT_ID,
                                          .priority = CENTER_PRIORITY,
                                          .pan = pan,
                                          .tilt = tilt,
                                          .width = width,
                                          .height = height,
                                          .timestamp = utils::monotonicTime(),
                                          .velocity = {}});
  update();
  superObjectManager->removeSingleObject(camera - 1, CENTER_OBJECT_ID);
}

// ---- State and settings ----

std::string Tracker::getStateString() const {
  const auto index = static_cast<std::size_t>(state.load());
  return index < STATE_STRINGS.size() ? STATE_STRINGS[index] : "unknown";
}

// The event sent last tells the state that was reached last, whoever changes it at once.
void Tracker::sendStateEvent() {
  const std::lock_guard lock(stateEventMutex);
  events.sendStateEvent(getStateString());
}

void Tracker::enableSentrel(bool on) {
  if (on) {
    if (changeState(CameraState::stopped, CameraState::connecting)) {
      Persistent::setSentrelEnabled(true);
    }
    return;
  }
  if (state.exchange(CameraState::stopped) == CameraState::stopped) {
    return;
  }
  ptzRemote->cancel();
  events.sendIsSentrelingEvent(false);
  sendStateEvent();
  head.ptzStop();
  Persistent::setSentrelEnabled(false);
}

void Tracker::setState(CameraState newState) {
  if (state.exchange(newState) == newState) {
    return;
  }
  if (newState == CameraState::stopped) {
    ptzRemote->cancel();
    events.sendIsSentrelingEvent(false);
  }
  sendStateEvent();
}

// Only from the state that the caller means: tracking may have been switched off meanwhile.
bool Tracker::changeState(CameraState from, CameraState to) {
  if (!state.compare_exchange_strong(from, to)) {
    return false;
  }
  sendStateEvent();
  return true;
}

bool Tracker::getSwitchObject() const {
  const std::lock_guard lock(mutex);
  return superObjectManager->getSwitchObject();
}

void Tracker::setSwitchObject(bool on) {
  {
    const std::lock_guard lock(mutex);
    if (superObjectManager->getSwitchObject() == on) {
      return;
    }
    superObjectManager->setSwitchObject(on);
  }
  Persistent::setSwitchObject(on);
}

int Tracker::getTimePerObject() const {
  const std::lock_guard lock(mutex);
  return superObjectManager->getTimePerObject();
}

void Tracker::setTimePerObject(int seconds) {
  {
    const std::lock_guard lock(mutex);
    if (superObjectManager->getTimePerObject() == seconds) {
      return;
    }
    superObjectManager->setTimePerObject(seconds);
  }
  Persistent::setTimePerObject(seconds);
}

void Tracker::setReturnToHomeEnabled(bool on) {
  if (returnToHomeEnabled.exchange(on) != on) {
    Persistent::setReturnToHomeEnabled(on);
  }
}

void Tracker::setReturnToHomeTimeout(int seconds) {
  if (returnToHomeTimeout.exchange(seconds) != seconds) {
    Persistent::setReturnToHomeTimeout(seconds);
  }
}

void Tracker::setZoomCorrectionValue(double correction) {
  if (zoomScale.zoomCorrection != correction) {
    zoomScale.zoomCorrection = correction;
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
  std::int64_t pause = 0;
  const CameraState before = state;
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
      pause = RUNNING_PAUSE;
      break;
    default:
      syslog(LOG_ERR, "Tracker in a bad state\n");
      return 0;
  }
  if (wasSwitchedOff(before, state)) {
    stopForGood();
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

// Whatever the step has commanded must not go on.
void Tracker::stopForGood() {
  head.ptzStop();
  regulator->inactivate();
  if (events.isSentrelingActive()) {
    events.sendIsSentrelingEvent(false);
  }
}

// ---- Connecting and tuning ----

// What is read before a failure is kept.
bool Tracker::readHead() {
  return ptzRemote->getMinFieldAngle(zoomScale.minFieldAngle) &&
         ptzRemote->getMaxFieldAngle(zoomScale.maxFieldAngle) &&
         ptzRemote->getMinZoom(zoomScale.minZoom) && ptzRemote->getMaxZoom(zoomScale.maxZoom) &&
         ptzRemote->getAspectRatio(aspectRatio);
}

void Tracker::connect() {
  const PtzRemoteTravo::Attempt attempt(*ptzRemote);
  if (!head.initialize() || !readHead()) {
    return;
  }
  {
    const std::lock_guard lock(mutex);
    SuperObjectManager::setMaxObjectSize(zoomScale.maxFieldAngle,
                                         zoomScale.maxFieldAngle / aspectRatio);
  }
  std::string number;
  if (!ptzRemote->getProdNbr(number) || number.size() < SHORTEST_PRODUCT_NUMBER) {
    return;
  }
  // The errors of an earlier run must not count as the last ones.
  regulator->inactivate();
  regulator->setZoomEnabled(!number.starts_with(ABSOLUTE_ZOOM_HEADS));
  productNumber = number;
  if (productNumber == cameraName) {
    changeState(CameraState::connecting, CameraState::running);
    return;
  }
  autotuner->start();
  changeState(CameraState::connecting, CameraState::autotuning);
}

void Tracker::autotune() {
  if (autotuner->step()) {
    changeState(CameraState::autotuning, CameraState::running);
  }
}

void Tracker::zoomCorrectionFound(double correction) {
  setZoomCorrectionValue(correction);
}

void Tracker::gainsFound() {
  double kp = 0.0;
  double ki = 0.0;
  double kd = 0.0;
  regulator->getPanAutotunePid(&kp, &ki, &kd);
  regulator->setPanPid(kp, ki, kd);
  Persistent::setCameraPanPid(kp, ki, kd);
  regulator->getTiltAutotunePid(&kp, &ki, &kd);
  regulator->setTiltPid(kp, ki, kd);
  Persistent::setCameraTiltPid(kp, ki, kd);
  cameraName = productNumber;
  Persistent::setCameraName(cameraName);
}

// ---- Following ----

void Tracker::update() {
  PtzHeadStatus status;
  if (!readStatus(status)) {
    return;
  }
  returnToHomeIfTimeout();
  updateTarget(status);
  const double multiplier = zoomScale.zoomTravoToMultiplier(status.zoom);
  regulator->updateCurrentPosition(status.pan, status.tilt, multiplier);
  if (regulator->getState() != Regulator::State::active) {
    stopFollowing();
    return;
  }
  if (!events.isSentrelingActive()) {
    events.sendIsSentrelingEvent(true);
  }
  commandHead(multiplier);
  returnToHomeReset();
}

// Without the head's position there is no control, so there must be no motion.
bool Tracker::readStatus(PtzHeadStatus& status) {
  if (head.getStatus(status)) {
    statusFailures = 0;
    return true;
  }
  ++statusFailures;
  if (statusFailures == MAX_STATUS_FAILURES && events.isSentrelingActive()) {
    isStopOwed = !head.ptzStop();
    regulator->inactivate();
    events.sendIsSentrelingEvent(false);
  }
  return false;
}

void Tracker::updateTarget(const PtzHeadStatus& status) {
  const std::lock_guard lock(mutex);
  superObjectManager->updateSuperObjects();
  const SuperObject* target = superObjectManager->getSuperObject(status.pan, status.tilt);
  if (target != nullptr) {
    regulator->updateTargetPosition(target->getPan(), target->getTilt(),
                                    calculateTargetMultiplier(*target));
  }
}

// The target is to fill half of the picture.
double Tracker::calculateTargetMultiplier(const SuperObject& target) const {
  const double extent = std::max(2.0 * target.getWidth(), 2.0 * aspectRatio * target.getHeight());
  const double multiplier = zoomScale.maxFieldAngle / extent;
  return std::isnan(multiplier) ? MIN_MULTIPLIER
                                : std::clamp(multiplier, MIN_MULTIPLIER, MAX_MULTIPLIER);
}

void Tracker::stopFollowing() {
  const bool wasFollowing = events.isSentrelingActive();
  if (wasFollowing || isStopOwed) {
    head.ptzMove(0.0, PtzHead::CONTINUOUS, 0.0, PtzHead::CONTINUOUS, 0, PtzHead::CONTINUOUS);
    isStopOwed = false;
  }
  if (wasFollowing) {
    events.sendIsSentrelingEvent(false);
  }
}

void Tracker::commandHead(double multiplier) {
  double panSpeed = 0.0;
  double tiltSpeed = 0.0;
  double zoomSpeed = 0.0;
  regulator->getSpeeds(panSpeed, tiltSpeed, zoomSpeed);
  if (regulator->isZoomEnabled()) {
    head.ptzMove(panSpeed, PtzHead::CONTINUOUS, tiltSpeed, PtzHead::CONTINUOUS,
                 static_cast<int>(zoomSpeed), PtzHead::CONTINUOUS);
    return;
  }
  const double target = regulator->getTargetZoom();
  const double ratio = std::abs(target / multiplier);
  const std::int64_t now = utils::monotonicTime();
  const bool isZoomDue =
      lastZoomCommandTime == 0 || now - lastZoomCommandTime > ABSOLUTE_ZOOM_INTERVAL;
  if ((ratio < ZOOM_RATIO_LOW || ratio > ZOOM_RATIO_HIGH) && isZoomDue) {
    head.ptzMove(panSpeed, PtzHead::NOT_DRIVEN, tiltSpeed, PtzHead::NOT_DRIVEN,
                 zoomScale.zoomMultiplierToTravo(target), PtzHead::ABSOLUTE);
    lastZoomCommandTime = now;
    return;
  }
  head.ptzMove(panSpeed, PtzHead::CONTINUOUS, tiltSpeed, PtzHead::CONTINUOUS, 0,
               PtzHead::NOT_DRIVEN);
}

// ---- Going home ----

void Tracker::returnToHomeIfTimeout() {
  const std::int64_t last = returnToHomeTime;
  if (!returnToHomeEnabled || last == 0) {
    return;
  }
  if (last + returnToHomeTimeout * MICROSECONDS_PER_SECOND > utils::monotonicTime()) {
    return;
  }
  returnToHomeTime = 0;
  ptzGotoHome();
}

void Tracker::returnToHomeReset() {
  returnToHomeTime = utils::monotonicTime();
}

void Tracker::ptzGotoHome() {
  if (state == CameraState::running) {
    head.gotoHome();
  }
}
