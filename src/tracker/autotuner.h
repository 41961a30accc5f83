#ifndef TRACKER_AUTOTUNER_H
#define TRACKER_AUTOTUNER_H

#include <cstdint>
#include <optional>

#include "ptz/ptz_head.h"
#include "ptz/regulator.h"
#include "tracker/head_survey.h"

// What a step of an autotune run has found out.
struct AutotuneFinding {
  std::optional<double> zoomCorrection;  // how the head counts its zoom
  bool hasGains = false;                 // the regulator's autotune gains are good
  bool hasSurvey = false;                // the survey has recorded its staircase
  bool isFinished = false;               // the last step has been done
};

// Makes the controllers fit an unknown head, one step at a call: goes to a position of known zoom
// and sees how the head counts it, then to the tuning position, and lets the regulator swing the
// head by relay. A run that fails is repeated twice; then the gains stay as they are. How each run
// ended is logged, and what it means for the head. With a survey its staircase follows the relay,
// also when that has failed for good. Used by the tracker's thread alone.
class Autotuner {
 public:
  // All must outlive the tuner.
  Autotuner(PtzHead& head, Regulator& regulator);

  // Begins at the first step with no failed run.
  void start();

  // The same for a survey, too, which must outlive the run; or for that alone.
  enum class Relay { wanted, leftOut };
  void start(HeadSurvey& survey, Relay relay);

  // One step and what it has found.
  AutotuneFinding step();

  // 1 to 8 while tuning, 0 when idle.
  std::int32_t getStep() const { return autotuneStep; }

 private:
  enum Step : std::int32_t {
    IDLE = 0,
    GO_TO_ZOOM_CHECK = 1,
    CHECK_ZOOM = 2,
    WAIT_FOR_POSITION = 3,
    START_RELAY = 4,
    RUN_RELAY = 5,
    FAILED = 6,
    FINISH = 7,
    RUN_STAIRCASE = 8
  };

  void goToZoomCheck();
  std::optional<double> checkZoom();
  bool isZoomOfNoMatter() const;
  void goToWidestZoom();
  void waitForPosition();
  void startRelay();
  bool runRelay();
  void startStaircase(const PtzHeadStatus& status);
  bool runStaircase();
  void note(const PtzHeadStatus& status, double panSpeed, double tiltSpeed, bool isTaken,
            std::int64_t time);
  void handleFailure();
  const char* consequence(bool isSurveyLeft) const;
  void tellSuccess() const;
  bool hasWaitedTooLong(const char* message);
  std::optional<PtzHeadStatus> readStatusWhileWaiting(const char* message);

  PtzHead& head;
  Regulator& regulator;
  HeadSurvey* survey = nullptr;  // not owned; null when there is none to make
  Relay relay = Relay::wanted;
  std::int32_t autotuneStep = IDLE;
  std::int32_t autotuneWaitCount = 0;
  std::int32_t autotuneRetryCount = 0;
};

#endif
