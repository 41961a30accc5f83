#ifndef TRACKER_PREDICTIVE_FOLLOWING_H
#define TRACKER_PREDICTIVE_FOLLOWING_H

#include <cstdint>
#include <optional>

#include "app/lock_order.h"
#include "base/mutex.h"
#include "following/framing.h"
#include "following/head_model.h"
#include "following/pursuit.h"
#include "tracker/following.h"
#include "tracker/insight.h"

// Follows with a model of the head and a prediction of the people: speeds that bring the head to
// where they will be when it gets there. Zooms by absolute positions, as far in as what is known of
// both allows.
class PredictiveFollowing : public Following {
 public:
  // The head to steer from now on; without one nothing is commanded.
  void setHead(const following::HeadParameters& parameters);

  // How far what the head does is off what its model says (HeadModel); 0 without a head.
  double misfit() const;

  // The head at hand and what it is led to; the aim's age is not judged. Any thread may ask.
  struct View {
    std::optional<HeadInsight> head;
    std::optional<AimInsight> aim;
  };
  View view() const;

  // The head at hand is another one, or is to be identified: nothing is known of it.
  void showNothing();

  std::optional<HeadCommand> step(const PtzHeadStatus& status, const HeadOptics& optics,
                                  Selection& selection, std::int64_t now) override;
  void taken(const HeadCommand& command, std::int64_t time) override;
  std::int64_t pauseAfter(std::int64_t spent) const override;
  void forget() override;

 private:
  // What is known of the head at hand.
  struct Controls {
    explicit Controls(const following::HeadParameters& parameters)
        : parameters(parameters), model(parameters), pursuit(parameters) {}

    following::HeadParameters parameters;
    following::HeadModel model;
    following::Pursuit pursuit;
  };

  void begin(const PtzHeadStatus& status, const HeadOptics& optics, std::int64_t now);
  void end();
  double fieldNow(const PtzHeadStatus& status, const HeadOptics& optics) const;
  void showAim(const FollowedSubject& chosen, std::int64_t now, std::int64_t at);
  void showHead();
  void watchResting(const PtzHeadStatus& status, std::int64_t now);
  std::optional<int> zoomFor(const std::optional<FollowedSubject>& chosen, const HeadOptics& optics,
                             std::int64_t now);

  std::optional<Controls> controls;
  following::Lens lens;
  following::Framing framing{lens};
  bool isFollowing = false;
  bool isInterrupted = false;    // by somebody else's command, or by a stop
  bool isZoomOwed = false;       // the position asked for has not been taken
  std::int64_t lastSubject = 0;  // when there was one last
  std::int64_t lastStep = 0;
  std::int64_t lastTrusted = 0;                // when it was known where the head looks
  std::optional<PtzHeadStatus> restingStatus;  // while nothing is commanded

  mutable Mutex viewMutex ACQUIRED_AFTER(lock_order::TRACKER) ACQUIRED_BEFORE(lock_order::RETRY);
  View shown GUARDED_BY(viewMutex);
};

#endif
