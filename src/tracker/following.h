#ifndef TRACKER_FOLLOWING_H
#define TRACKER_FOLLOWING_H

#include <cstdint>
#include <optional>

#include "ptz/ptz_head.h"
#include "ptz/zoom_scale.h"
#include "tracker/selection.h"

// What is known of the head that is steered.
struct HeadOptics {
  ZoomScale zoomScale;
  double aspectRatio = 1.33;
};

// A way of following: turns where the head looks and what is to be followed into what the head is
// told. No thread, lock or bus inside; used by the tracker's thread alone.
class Following {
 public:
  virtual ~Following() = default;

  // One control step. What to tell the head; nothing when there has been nothing to follow for long
  // enough that the head is to stand. Asks the selection once at most. now is monotonic
  // microseconds.
  virtual std::optional<HeadCommand> step(const PtzHeadStatus& status, const HeadOptics& optics,
                                          Selection& selection, std::int64_t now) = 0;

  // The head has taken a command, which was given at that time. One that failed does not come here.
  virtual void taken(const HeadCommand& /*command*/, std::int64_t /*time*/) {}

  // How long to sleep after a step that took so long, both microseconds.
  virtual std::int64_t pauseAfter(std::int64_t spent) const = 0;

  // Forgets the target and the errors so far: the head has been stopped, or is another one.
  virtual void forget() = 0;
};

#endif
