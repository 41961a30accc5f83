#ifndef DEVICE_REPORT_SAMPLES_CSV_H
#define DEVICE_REPORT_SAMPLES_CSV_H

#include <ostream>
#include <span>

#include "score/score_sample.h"

namespace device {

// Writes every sample, one line for each person of it, or one without a person. Columns:
//
//   time_s                                   since the device's start
//   scored                                   1 from the tracker's first "running" on, 0 before
//   pan_deg, tilt_deg, field_deg             where the head really looked
//   bound_pan_deg, bound_tilt_deg, bound_field_deg  where the clairvoyant head would have; empty
//                                            where it is not scored
//   person, x_m, y_m, height_m               of the feet, and how tall; empty when nobody was there
//   counts                                   1 or 0; empty when nobody was there
//
// bound: a pose for each of the last samples, the scored ones.
void writeSamples(std::ostream& out, std::span<const ScoreSample> samples,
                  std::span<const HeadPose> bound);

}  // namespace device

#endif
