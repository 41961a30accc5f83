#ifndef TRACKER_WAY_OF_FOLLOWING_H
#define TRACKER_WAY_OF_FOLLOWING_H

#include <cstdint>
#include <optional>
#include <string>

#include "following/head_model.h"
#include "ptz/ptz_remote_travo.h"
#include "ptz/regulator.h"
#include "tracker/autotuner.h"
#include "tracker/following.h"
#include "tracker/following_setup.h"
#include "tracker/head_survey.h"
#include "tracker/observations.h"
#include "tracker/pid_following.h"
#include "tracker/predictive_following.h"

// Which way the head is followed with, and what that way has to know of the head: the regulator its
// gains, which are kept in the settings with the head that they were tuned for; the predictive way
// a model, which is kept in the head's file. Until the model is known, and when the head cannot be
// identified, the regulator follows. Times are monotonic microseconds. The tracker's thread's
// alone, but for view(); no lock of its own.
class WayOfFollowing {
 public:
  // Both must outlive it. The observations are told whether to watch people.
  WayOfFollowing(Regulator& regulator, Observations& observations)
      : regulator(regulator), observations(observations) {}

  // Gives the regulator the gains that were stored last.
  void loadGains();

  // Begins with a head that has just been connected with: asks the device which way is chosen, and
  // for the predictive one the head for its stops. What cannot be read stays as it was.
  void choose(const std::string& headNumber, PtzRemoteTravo& remote, std::int64_t now);

  // Whether it knows of the head what it has to; else the head is to be tuned.
  bool isHeadKnown() const;

  // Lets a tuner find out what is missing, and takes what it has found at each step. What is taken
  // for good is stored.
  void startTuning(Autotuner& tuner);
  void take(const AutotuneFinding& finding);

  // What to follow with now; changes with choose and take only.
  Following& getFollowing() { return *following; }

  // What the predictive way knows and expects, but for the people; nothing of a head that is not
  // identified. Any thread may ask.
  PredictiveFollowing::View view() const { return predictive.view(); }

  // Whether to begin anew with the head: another way is chosen, or the head is to be identified
  // anew, because somebody asks for it or because it moves otherwise than its model. Asks the
  // device every ten seconds, which may take its time: for a head that rests.
  bool isOutdated(std::int64_t now);

 private:
  void takeGains();
  void takeSurvey();
  void readStops(PtzRemoteTravo& remote);
  void usePredictive(following::HeadParameters parameters);
  bool isModelDoubtful(std::int64_t now);
  bool isIdentificationAsked();
  void oweIdentification();
  bool takeIdentificationMark();

  Regulator& regulator;
  Observations& observations;
  PidFollowing pid{regulator};
  PredictiveFollowing predictive;
  Following* following = &pid;  // one of the two

  std::string productNumber;  // the head at hand
  std::string tunedFor;       // the head for which the stored gains were tuned
  HeadSurvey survey;
  HeadStops stops;
  Installation installation;
  bool isPredictive = false;                      // the way that is chosen
  bool isModelKnown = false;                      // and what it needs to know of the head
  bool isIdentificationOwed = false;              // asked for, or the model has turned out wrong
  std::int64_t lastDoubt = 0;                     // when it did that; 0 never
  std::optional<std::string> identificationMark;  // asks for another identification when it changes
  std::int64_t lastQuestion = 0;                  // for these two
};

#endif
