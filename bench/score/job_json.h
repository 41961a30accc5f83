#ifndef SCORE_JOB_JSON_H
#define SCORE_JOB_JSON_H

#include <string>

#include "score/job.h"

namespace score {

// The result as script/score reads it, one line; what there is no figure for is null:
//
//   {"tuning": {"seconds", "attempts", "tuned"},
//    "runs": [{"person": id | null, "followed": HEAD, "home": HEAD, "fixed": HEAD, "bound": HEAD}]}
//
// "tuned" is, with a way of following that identifies the head, whether it was identified.
//
// HEAD is, for one person and for a whole run alike: {"people", "seconds", "median_deg", "rms_deg",
// "p95_deg", "acquisition_s", "never_acquired", "in_picture", "share_20", "share_40", "detected",
// "recognised", "identified", "starts_per_s", "reversals_per_s", "acceleration_rms", "each":
// {"rms_deg": [], "in_picture": [], "recognised": []}}. Errors are to the followed one, of one
// person without the first 2 s; shares are of seconds, which is the time with somebody to follow.
// "each" has a value for each person: the error while it was followed, without the first 2 s of its
// stays (null for who never was), and shares of its own time.
std::string toJson(const JobResult& result);

}  // namespace score

#endif
