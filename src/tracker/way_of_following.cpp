#include "tracker/way_of_following.h"

#include <syslog.h>

#include "base/units.h"
#include "config/persistent.h"
#include "tracker/head_file.h"

namespace {

constexpr const char* ABSOLUTE_ZOOM_HEADS = "K47";

// Between looks whether another way of following is chosen.
constexpr std::int64_t QUESTION_INTERVAL = units::fromSeconds(10);

// Above it the model of the head is not that of the head.
constexpr double DOUBTFUL_MISFIT = 1.0;
// A head that no model fits is not identified all day.
constexpr std::int64_t DOUBT_INTERVAL = units::fromSeconds(24 * 3600);

}  // namespace

// ---- Choosing ----

void WayOfFollowing::choose(const std::string& headNumber, PtzRemoteTravo& remote,
                            std::int64_t now) {
  // The errors of an earlier run must not count as the last ones.
  pid.forget();
  regulator.setZoomEnabled(!headNumber.starts_with(ABSOLUTE_ZOOM_HEADS));
  productNumber = headNumber;
  lastQuestion = now;
  isPredictive = FollowingSetup::isPredictive().value_or(isPredictive);
  isModelKnown = false;
  predictive.showNothing();
  following = &pid;
  if (!isPredictive) {
    observations.ignorePeople();
    return;
  }
  installation = FollowingSetup::installation(installation);
  observations.watchPeople(installation);
  readStops(remote);
  if (takeIdentificationMark()) {
    oweIdentification();
  }
  if (isIdentificationOwed) {
    return;
  }
  if (const auto known = HeadFile::load(productNumber)) {
    usePredictive(*known);
  }
}

// Whether it asks for another identification; the first one that is answered asks for nothing.
bool WayOfFollowing::takeIdentificationMark() {
  const auto mark = FollowingSetup::identificationMark();
  const bool isAsked = mark && identificationMark && mark != identificationMark;
  if (mark) {
    identificationMark = mark;
  }
  return isAsked;
}

// Until it is done: what is interrupted begins anew, also after a restart.
void WayOfFollowing::oweIdentification() {
  isIdentificationOwed = true;
  HeadFile::remove();
}

// Heads that do not tell are taken for such as turn on and on, and look from the ground to the sky.
void WayOfFollowing::readStops(PtzRemoteTravo& remote) {
  stops = HeadStops();
  remote.getStops("Tilt", stops.lowestTilt, stops.highestTilt);
  remote.getStops("Pan", stops.lowestPan, stops.highestPan);
  survey.setStops(stops);
}

void WayOfFollowing::usePredictive(following::HeadParameters parameters) {
  parameters.pan.lowest = stops.lowestPan;
  parameters.pan.highest = stops.highestPan;
  parameters.tilt.lowest = stops.lowestTilt;
  parameters.tilt.highest = stops.highestTilt;
  parameters.statusAge = installation.statusAge;
  predictive.setHead(parameters);
  following = &predictive;
  isModelKnown = true;
}

bool WayOfFollowing::isHeadKnown() const {
  return isPredictive ? isModelKnown : productNumber == tunedFor;
}

// ---- What tuning finds ----

void WayOfFollowing::startTuning(Autotuner& tuner) {
  if (!isPredictive) {
    tuner.start();
    return;
  }
  tuner.start(survey,
              productNumber == tunedFor ? Autotuner::Relay::leftOut : Autotuner::Relay::wanted);
}

void WayOfFollowing::take(const AutotuneFinding& finding) {
  if (finding.hasGains) {
    takeGains();
  }
  if (finding.hasSurvey) {
    takeSurvey();
  }
  if (finding.isFinished && !isModelKnown) {
    observations.ignorePeople();  // the regulator follows
  }
}

void WayOfFollowing::loadGains() {
  Persistent::getCameraName(tunedFor);
  double kp = 0.0;
  double ki = 0.0;
  double kd = 0.0;
  Persistent::getCameraPanPid(kp, ki, kd);
  regulator.setPanPid(kp, ki, kd);
  Persistent::getCameraTiltPid(kp, ki, kd);
  regulator.setTiltPid(kp, ki, kd);
}

void WayOfFollowing::takeGains() {
  double kp = 0.0;
  double ki = 0.0;
  double kd = 0.0;
  regulator.getPanAutotunePid(&kp, &ki, &kd);
  regulator.setPanPid(kp, ki, kd);
  Persistent::setCameraPanPid(kp, ki, kd);
  regulator.getTiltAutotunePid(&kp, &ki, &kd);
  regulator.setTiltPid(kp, ki, kd);
  Persistent::setCameraTiltPid(kp, ki, kd);
  tunedFor = productNumber;
  Persistent::setCameraName(tunedFor);
}

void WayOfFollowing::takeSurvey() {
  const following::HeadIdentification found = survey.identify();
  if (!found.pan.isBelieved()) {
    syslog(LOG_WARNING,
           "The head could not be identified (%d), it is steered without being known.\n",
           static_cast<int>(found.pan.refusal));
    return;
  }
  const following::HeadParameters parameters{found.pan.model, found.tilt.model, std::nullopt};
  HeadFile::store(productNumber, parameters);
  isIdentificationOwed = false;
  usePredictive(parameters);
  syslog(LOG_INFO, "The head answers after %.0f ms and turns at %.0f deg/s, tilts at %.0f deg/s.\n",
         found.pan.model.deadTime * units::MILLISECONDS_PER_SECOND, found.pan.model.curve.fastest(),
         found.tilt.model.curve.fastest());
}

// ---- Beginning anew ----

bool WayOfFollowing::isOutdated(std::int64_t now) {
  if (now - lastQuestion < QUESTION_INTERVAL) {
    return false;
  }
  lastQuestion = now;
  const auto isChosen = FollowingSetup::isPredictive();
  if (!isChosen) {
    return false;
  }
  if (*isChosen != isPredictive) {
    return true;
  }
  if (!isPredictive) {
    return false;
  }
  return isModelDoubtful(now) || isIdentificationAsked();
}

bool WayOfFollowing::isIdentificationAsked() {
  const auto mark = FollowingSetup::identificationMark();
  if (!identificationMark) {
    identificationMark = mark;
  }
  return mark && mark != identificationMark;
}

// Then it counts no more, and is told.
bool WayOfFollowing::isModelDoubtful(std::int64_t now) {
  const bool mayDoubt = lastDoubt == 0 || now - lastDoubt > DOUBT_INTERVAL;
  const bool isDoubtful = isModelKnown && mayDoubt && predictive.misfit() > DOUBTFUL_MISFIT;
  if (isDoubtful) {
    lastDoubt = now;
    syslog(LOG_WARNING, "The head moves otherwise than was identified, it is identified anew.\n");
    oweIdentification();
  }
  return isDoubtful;
}
