#ifndef DEVICE_RTSP_PIPELINE_TIME_H
#define DEVICE_RTSP_PIPELINE_TIME_H

#include <gst/gst.h>

#include <atomic>
#include <cstdint>
#include <optional>

namespace device {

// A moment (microseconds of the monotonic clock) in the time of the pipeline to which an element
// belongs. Nothing while the element does not run, and for what was before its pipeline ran: an
// element is given its clock some time before it is told since when the pipeline counts.
std::optional<GstClockTime> pipelineTimeOf(GstElement* element, std::int64_t moment);

// Time stamps of what goes into one element. After a pause a pipeline counts on, so that what was
// taken before it went on would be older than what was sent last: the queues of the library end the
// process then. Any thread may call, one at a time.
class StampOrder {
 public:
  // The stamp, or the last one if that is later: of what nobody may miss.
  GstClockTime inOrder(GstClockTime stamp);

  // Nothing if it is no later than the last one: of pictures, no two of which are of one moment.
  std::optional<GstClockTime> newer(GstClockTime stamp);

 private:
  std::atomic<GstClockTime> last = 0;
};

}  // namespace device

#endif
