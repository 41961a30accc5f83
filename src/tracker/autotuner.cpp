#include "tracker/autotuner.h"

#include <syslog.h>

#include <array>

#include "app/clock.h"

namespace {

constexpr double TUNING_PAN = 0.0;     // degrees
constexpr double TUNING_TILT = -45.0;  // degrees
constexpr double POSITION_TOLERANCE = 0.5;
constexpr double FINAL_TILT = -3.6;       // degrees
constexpr int ZOOM_CHECK_POSITION = 100;  // on the head's scale
constexpr int WIDEST_ZOOM = 1;
constexpr std::int32_t TUNING_ZOOM_LIMIT = 20;
constexpr double RELAY_AMPLITUDE = 35.0;  // percent of full speed
constexpr std::int32_t MAX_WAITS = 100;
constexpr std::int32_t MAX_RUNS = 3;

// How a head that was told the check position reports it.
struct ZoomReport {
  std::int32_t low;
  std::int32_t high;
  double correction;
};

constexpr std::array ZOOM_REPORTS{ZoomReport{45, 55, 2.0}, ZoomReport{95, 105, 1.0},
                                  ZoomReport{190, 210, 0.5}};

bool isWithin(double value, double middle) {
  return value >= middle - POSITION_TOLERANCE && value <= middle + POSITION_TOLERANCE;
}

bool isAtTuningPosition(const PtzHeadStatus& status) {
  return !status.isMoving && isWithin(status.pan, TUNING_PAN) && isWithin(status.tilt, TUNING_TILT);
}

}  // namespace

Autotuner::Autotuner(PtzHead& head, Regulator& regulator) : head(head), regulator(regulator) {}

void Autotuner::start() {
  survey = nullptr;
  relay = Relay::wanted;
  autotuneStep = GO_TO_ZOOM_CHECK;
  autotuneRetryCount = 0;
}

void Autotuner::start(HeadSurvey& newSurvey, Relay newRelay) {
  start();
  survey = &newSurvey;
  relay = newRelay;
}

AutotuneFinding Autotuner::step() {
  AutotuneFinding finding;
  switch (autotuneStep) {
    case GO_TO_ZOOM_CHECK:
      goToZoomCheck();
      break;
    case CHECK_ZOOM:
      finding.zoomCorrection = checkZoom();
      break;
    case WAIT_FOR_POSITION:
      waitForPosition();
      break;
    case START_RELAY:
      startRelay();
      break;
    case RUN_RELAY:
      finding.hasGains = runRelay();
      break;
    case RUN_STAIRCASE:
      finding.hasSurvey = runStaircase();
      break;
    case FAILED:
      handleFailure();
      break;
    case FINISH:
      head.ptzMove(TUNING_PAN, PtzHead::ABSOLUTE, FINAL_TILT, PtzHead::ABSOLUTE, WIDEST_ZOOM,
                   PtzHead::ABSOLUTE);
      autotuneStep = IDLE;
      finding.isFinished = true;
      break;
    default:
      syslog(LOG_ERR, "Autotuning internal error\n");
  }
  return finding;
}

void Autotuner::goToZoomCheck() {
  head.ptzMove(TUNING_PAN, PtzHead::ABSOLUTE, TUNING_TILT, PtzHead::ABSOLUTE, ZOOM_CHECK_POSITION,
               PtzHead::ABSOLUTE);
  autotuneWaitCount = 0;
  autotuneStep = CHECK_ZOOM;
}

bool Autotuner::hasWaitedTooLong(const char* message) {
  ++autotuneWaitCount;
  if (autotuneWaitCount <= MAX_WAITS) {
    return false;
  }
  syslog(LOG_ERR, "%s", message);
  return true;
}

// Nothing, logged, after too long a wait, and when the head does not answer.
std::optional<PtzHeadStatus> Autotuner::readStatusWhileWaiting(const char* message) {
  return hasWaitedTooLong(message) ? std::nullopt : head.getStatus();
}

// Nothing while the head is on its way or counts its zoom in no known way. For the staircase alone,
// which needs no zoom, it is not waited for any longer then.
std::optional<double> Autotuner::checkZoom() {
  const auto status = readStatusWhileWaiting("Failed to go to autotune zoom check position\n");
  if (!status) {
    autotuneStep = FAILED;
    return std::nullopt;
  }
  if (!isAtTuningPosition(*status)) {
    return std::nullopt;
  }
  for (const ZoomReport& report : ZOOM_REPORTS) {
    if (status->zoom >= report.low && status->zoom <= report.high) {
      goToWidestZoom();
      return report.correction;
    }
  }
  if (isZoomOfNoMatter() && autotuneWaitCount == MAX_WAITS) {
    syslog(LOG_WARNING,
           "The head counts its zoom in no known way, it is identified all the same\n");
    goToWidestZoom();
  }
  return std::nullopt;
}

bool Autotuner::isZoomOfNoMatter() const {
  return survey != nullptr && relay == Relay::leftOut;
}

void Autotuner::goToWidestZoom() {
  head.ptzMove(TUNING_PAN, PtzHead::ABSOLUTE, TUNING_TILT, PtzHead::ABSOLUTE, WIDEST_ZOOM,
               PtzHead::ABSOLUTE);
  autotuneWaitCount = 0;
  autotuneStep = WAIT_FOR_POSITION;
}

void Autotuner::waitForPosition() {
  const auto status = readStatusWhileWaiting("Failed to go to autotune position\n");
  if (!status) {
    autotuneStep = FAILED;
    return;
  }
  if (isAtTuningPosition(*status) && status->zoom < TUNING_ZOOM_LIMIT) {
    autotuneStep = START_RELAY;
  }
}

void Autotuner::startRelay() {
  const auto status = head.getStatus();
  if (!status) {
    autotuneStep = FAILED;
    return;
  }
  if (survey != nullptr) {
    survey->begin();
  }
  if (relay == Relay::leftOut) {
    startStaircase(*status);
    return;
  }
  regulator.autotuneStart(status->pan, RELAY_AMPLITUDE, status->tilt, RELAY_AMPLITUDE);
  autotuneStep = RUN_RELAY;
}

// True when both axes have been tuned.
bool Autotuner::runRelay() {
  const auto status = head.getStatus();
  if (!status) {
    autotuneStep = FAILED;
    return false;
  }
  // An axis that times out gets no speed.
  double panSpeed = 0.0;
  double tiltSpeed = 0.0;
  bool isTuned = false;
  if (regulator.autotuneRun(status->pan, status->tilt, panSpeed, tiltSpeed)) {
    isTuned = regulator.autotuned();
    if (isTuned) {
      tellSuccess();
      autotuneRetryCount = 0;
    }
    autotuneStep = isTuned ? FINISH : FAILED;
  }
  const std::int64_t time = survey == nullptr ? 0 : utils::monotonicTime();
  const bool isTaken = head.ptzMove(panSpeed, PtzHead::CONTINUOUS, tiltSpeed, PtzHead::CONTINUOUS,
                                    0, PtzHead::CONTINUOUS);
  note(*status, panSpeed, tiltSpeed, isTaken, time);
  if (isTuned && survey != nullptr) {
    relay = Relay::leftOut;  // should the staircase fail, it alone is repeated
    startStaircase(*status);
  }
  return isTuned;
}

void Autotuner::note(const PtzHeadStatus& status, double panSpeed, double tiltSpeed, bool isTaken,
                     std::int64_t time) {
  if (survey == nullptr) {
    return;
  }
  survey->noteStatus(status, time);
  if (isTaken) {
    survey->noteCommand(panSpeed, tiltSpeed, time);
  }
}

void Autotuner::startStaircase(const PtzHeadStatus& status) {
  survey->beginStaircase(status, utils::monotonicTime());
  autotuneStep = RUN_STAIRCASE;
}

// True when all of it has been recorded.
bool Autotuner::runStaircase() {
  const auto status = head.getStatus();
  if (!status) {
    head.ptzStop();
    autotuneStep = FAILED;
    return false;
  }
  const std::int64_t time = utils::monotonicTime();
  const auto wanted = survey->command(time);
  const following::SpeedCommand command = wanted.value_or(following::SpeedCommand{});
  const bool isTaken = head.ptzMove({.panValue = static_cast<double>(command.pan),
                                     .tiltValue = static_cast<double>(command.tilt)});
  note(*status, command.pan, command.tilt, isTaken, time);
  if (!wanted) {
    autotuneStep = FINISH;
  }
  return !wanted;
}

void Autotuner::handleFailure() {
  ++autotuneRetryCount;
  const bool isGivenUp = autotuneRetryCount >= MAX_RUNS;
  const bool isSurveyLeft = survey != nullptr && relay == Relay::wanted;
  syslog(LOG_WARNING, "%s: attempt %d of %d failed%s\n",
         relay == Relay::wanted ? "Autotuning" : "Identifying the head", autotuneRetryCount,
         MAX_RUNS, isGivenUp ? consequence(isSurveyLeft) : ", trying again");
  if (!isGivenUp) {
    regulator.pidDebug();
    autotuneStep = GO_TO_ZOOM_CHECK;
    return;
  }
  autotuneRetryCount = 0;
  autotuneStep = FINISH;
  if (isSurveyLeft) {
    relay = Relay::leftOut;
    autotuneStep = GO_TO_ZOOM_CHECK;
  }
}

// Of the last failure.
const char* Autotuner::consequence(bool isSurveyLeft) const {
  if (isSurveyLeft) {
    return ". No gains are learned; the head is identified without them";
  }
  return relay == Relay::wanted
             ? ". The head keeps the gains it had and may lag behind or swing; it is tuned again "
               "at the next start"
             : ". The head is steered without being known and may lag behind or swing; it is "
               "identified again at the next start";
}

void Autotuner::tellSuccess() const {
  struct Gains {
    double kp = 0.0;
    double ki = 0.0;
    double kd = 0.0;
  };
  Gains pan;
  Gains tilt;
  regulator.getPanAutotunePid(&pan.kp, &pan.ki, &pan.kd);
  regulator.getTiltAutotunePid(&tilt.kp, &tilt.ki, &tilt.kd);
  syslog(LOG_INFO,
         "Autotuning: attempt %d of %d succeeded, gains of pan %.6g %.6g %.6g, of tilt %.6g %.6g "
         "%.6g\n",
         autotuneRetryCount + 1, MAX_RUNS, pan.kp, pan.ki, pan.kd, tilt.kp, tilt.ki, tilt.kd);
}
