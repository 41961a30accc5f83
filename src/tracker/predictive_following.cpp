#include "tracker/predictive_following.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "following/units.h"

namespace {

constexpr std::int64_t PERIOD = 50000;          // microseconds, that of the control step
constexpr std::int64_t SHORTEST_PAUSE = 10000;  // for everybody else on the processor
// Nobody chosen for so long: the head stands and is told to be idle.
constexpr double PATIENCE = 1.5;  // s
// A status that is coarse and late is taken for frozen for so long where the head sets out.
constexpr double BLIND_FOR_MOMENTS = 0.25;  // s

following::Lens lensOf(const HeadOptics& optics) {
  return {optics.zoomScale.maxFieldAngle, optics.zoomScale.minFieldAngle, optics.aspectRatio};
}

bool isEqual(const following::Lens& a, const following::Lens& b) {
  return a.maxField == b.maxField && a.minField == b.minField && a.aspect == b.aspect;
}

// What a lens must be for the zoom to be worked out at all.
bool isPlausible(const following::Lens& lens) {
  return lens.minField > 0.0 && lens.maxField > lens.minField && lens.maxField < 180.0 &&
         lens.aspect > 0.0 && std::isfinite(lens.aspect);
}

}  // namespace

void PredictiveFollowing::setHead(const following::HeadParameters& parameters) {
  controls.emplace(parameters);
  end();
  isInterrupted = false;
  showHead();
}

double PredictiveFollowing::misfit() const {
  return controls ? controls->model.misfit() : 0.0;
}

std::optional<HeadCommand> PredictiveFollowing::step(const PtzHeadStatus& status,
                                                     const HeadOptics& optics, Selection& selection,
                                                     std::int64_t now) {
  if (!controls) {
    return std::nullopt;
  }
  watchResting(status, now);
  if (std::exchange(isInterrupted, false)) {
    controls->model.interrupted(now);
  }
  controls->model.read(now, status.pan, status.tilt);
  showHead();
  const std::int64_t at = controls->pursuit.actsAt(now);
  const auto chosen = selection.selectSubject(status.pan, status.tilt, now, at);
  if (chosen) {
    lastSubject = now;
    showAim(*chosen, now, at);
  } else if (!isFollowing || following::secondsBetween(lastSubject, now) >= PATIENCE) {
    end();
    return std::nullopt;
  }
  if (!isFollowing) {
    begin(status, optics, now);
  }
  const auto subject = chosen ? std::optional(chosen->subject) : std::nullopt;
  const auto speeds = controls->pursuit.step(controls->model, subject, fieldNow(status, optics));
  HeadCommand command{.zoomKind = PtzHead::NOT_DRIVEN};
  if (speeds) {
    command.panValue = speeds->pan;
    command.tiltValue = speeds->tilt;
  }
  if (const auto zoom = zoomFor(chosen, optics, now)) {
    command.zoom = *zoom;
    command.zoomKind = PtzHead::ABSOLUTE;
  }
  return command;
}

// Of the picture, degrees: what a viewer sees, rather than what has been asked for.
double PredictiveFollowing::fieldNow(const PtzHeadStatus& status, const HeadOptics& optics) const {
  const double magnification = optics.zoomScale.zoomTravoToMultiplier(status.zoom);
  return lens.fieldAt(std::clamp(magnification, 1.0, lens.maxMagnification()));
}

void PredictiveFollowing::begin(const PtzHeadStatus& status, const HeadOptics& optics,
                                std::int64_t now) {
  if (!isEqual(lens, lensOf(optics))) {
    lens = isPlausible(lensOf(optics)) ? lensOf(optics) : following::Lens();
    framing = following::Framing(lens);
  }
  framing.reset(optics.zoomScale.zoomTravoToMultiplier(status.zoom));
  controls->pursuit.start();
  isFollowing = true;
  lastStep = now;
  lastTrusted = now;
  restingStatus.reset();
}

void PredictiveFollowing::end() {
  if (controls) {
    controls->pursuit.stop();
  }
  isFollowing = false;
  isZoomOwed = false;
  const LockGuard lock(viewMutex);
  shown.aim.reset();
}

// ---- For those who look on ----

PredictiveFollowing::View PredictiveFollowing::view() const {
  const LockGuard lock(viewMutex);
  return shown;
}

void PredictiveFollowing::showNothing() {
  const LockGuard lock(viewMutex);
  shown = {};
}

void PredictiveFollowing::showHead() {
  const following::HeadParameters& known = controls->parameters;
  const auto told = [](const following::AxisModel& axis, double ratio) {
    return AxisInsight{axis.deadTime, axis.curve.fastest(), axis.acceleration, ratio};
  };
  const following::HeadModel& model = controls->model;
  const HeadInsight head{told(known.pan, model.panRatio()), told(known.tilt, model.tiltRatio()),
                         model.misfit()};
  const LockGuard lock(viewMutex);
  shown.head = head;
}

void PredictiveFollowing::showAim(const FollowedSubject& chosen, std::int64_t now,
                                  std::int64_t at) {
  const following::Subject& subject = chosen.subject;
  const AimInsight aim{subject.pan,    subject.tilt,      subject.width,
                       subject.height, subject.deviation, following::secondsBetween(now, at),
                       chosen.gap};
  const LockGuard lock(viewMutex);
  shown.aim = aim;
}

// While nothing is commanded somebody else may move the head, or it goes home: what it says is all
// that is known.
void PredictiveFollowing::watchResting(const PtzHeadStatus& status, std::int64_t now) {
  if (isFollowing) {
    return;
  }
  if (restingStatus && (restingStatus->pan != status.pan || restingStatus->tilt != status.tilt)) {
    controls->model.interrupted(now);
  }
  restingStatus = status;
}

// A position that the head has not taken is asked for again. While nobody knows where the head
// looks nobody knows either whether the subject is in the picture: it is taken for unseen.
std::optional<int> PredictiveFollowing::zoomFor(const std::optional<FollowedSubject>& chosen,
                                                const HeadOptics& optics, std::int64_t now) {
  constexpr double UNSEEN = std::numeric_limits<double>::infinity();
  const double elapsed = following::secondsBetween(std::exchange(lastStep, now), now);
  lastTrusted = controls->model.isTrusted() ? now : lastTrusted;
  const bool isTrusted = following::secondsBetween(lastTrusted, now) <= BLIND_FOR_MOMENTS;
  const bool isChange = chosen && framing.step(elapsed, chosen->subject, controls->pursuit.error(),
                                               isTrusted ? chosen->gap : UNSEEN);
  isZoomOwed = isZoomOwed || isChange;
  if (!isZoomOwed) {
    return std::nullopt;
  }
  const auto [low, high] = std::minmax(optics.zoomScale.minZoom, optics.zoomScale.maxZoom);
  return std::clamp(optics.zoomScale.zoomMultiplierToTravo(framing.asked()), low, high);
}

void PredictiveFollowing::taken(const HeadCommand& command, std::int64_t time) {
  if (!controls) {
    return;
  }
  const following::SpeedCommand speeds{following::wholePercent(command.panValue),
                                       following::wholePercent(command.tiltValue)};
  controls->model.commanded(time, speeds);
  controls->pursuit.commanded(speeds);
  isZoomOwed = false;
}

std::int64_t PredictiveFollowing::pauseAfter(std::int64_t spent) const {
  return std::clamp(PERIOD - spent, SHORTEST_PAUSE, PERIOD);
}

void PredictiveFollowing::forget() {
  end();
  isInterrupted = true;
}
