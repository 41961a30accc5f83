#include "rtsp/pipeline_time.h"

#include <algorithm>

namespace device {
namespace {

constexpr std::int64_t NANOSECONDS_IN_ONE = 1000;  // microsecond

}  // namespace

std::optional<GstClockTime> pipelineTimeOf(GstElement* element, std::int64_t moment) {
  GstState state = GST_STATE_NULL;
  gst_element_get_state(element, &state, nullptr, 0);
  if (state != GST_STATE_PLAYING) {
    return std::nullopt;
  }
  const auto start = static_cast<std::int64_t>(gst_element_get_base_time(element));
  const std::int64_t since = moment * NANOSECONDS_IN_ONE - start;
  return since >= 0 ? std::optional(static_cast<GstClockTime>(since)) : std::nullopt;
}

GstClockTime StampOrder::inOrder(GstClockTime stamp) {
  last = std::max<GstClockTime>(last, stamp);
  return last;
}

std::optional<GstClockTime> StampOrder::newer(GstClockTime stamp) {
  if (stamp <= last) {
    return std::nullopt;
  }
  last = stamp;
  return stamp;
}

}  // namespace device
