#ifndef DEVICE_ONVIF_TIME_TEXT_H
#define DEVICE_ONVIF_TIME_TEXT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace device::onvif {

// A length of time as XML writes it ("PT1S", "P1DT2H", "-PT0.5S"), in microseconds. A year counts
// 365 days and a month 30. Nothing for what is none, or longer than 100 years.
std::optional<std::int64_t> readDuration(std::string_view text);

// microseconds from 0.
std::string durationText(std::int64_t microseconds);

// A moment as XML writes it, in microseconds since 1970; without a zone it is taken as UTC.
std::optional<std::int64_t> readDateTime(const std::string& text);

// Of UTC with milliseconds.
std::string dateTimeText(std::int64_t microseconds);

}  // namespace device::onvif

#endif
