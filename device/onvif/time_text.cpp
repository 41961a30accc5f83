#include "onvif/time_text.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <memory>

#include "base/glib_ptr.h"
#include "base/units.h"
#include "onvif/tag.h"

namespace device::onvif {
namespace {

constexpr double MINUTE = 60;  // seconds
constexpr double HOUR = 60 * MINUTE;
constexpr double DAY = 24 * HOUR;
constexpr double LONGEST = 100 * 365 * DAY;

struct Unit {
  char letter;
  double seconds;
};

// Each in this order, and at most once.
constexpr std::array<Unit, 3> OF_THE_DATE = {{{'Y', 365 * DAY}, {'M', 30 * DAY}, {'D', DAY}}};
constexpr std::array<Unit, 3> OF_THE_DAY = {{{'H', HOUR}, {'M', MINUTE}, {'S', 1}}};

// Takes numbers with their units off the text's front; false when one is no number of a unit.
bool takeUnits(const std::array<Unit, 3>& units, std::string_view* text, double* seconds,
               bool* any) {
  auto next = units.begin();
  while (!text->empty() && text->front() != 'T') {
    double number = 0;
    if (text->front() < '0' || text->front() > '9') {
      return false;
    }
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number,
                                              std::chars_format::fixed);
    if (error != std::errc() || end == text->data() + text->size()) {
      return false;
    }
    while (next != units.end() && next->letter != *end) {
      ++next;
    }
    if (next == units.end()) {
      return false;
    }
    *seconds += number * next->seconds;
    *any = true;
    ++next;
    text->remove_prefix(static_cast<std::size_t>(end - text->data()) + 1);
  }
  return true;
}

}  // namespace

std::optional<std::int64_t> readDuration(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative) {
    text.remove_prefix(1);
  }
  if (!text.starts_with('P')) {
    return std::nullopt;
  }
  text.remove_prefix(1);
  double seconds = 0;
  bool any = false;
  if (!takeUnits(OF_THE_DATE, &text, &seconds, &any)) {
    return std::nullopt;
  }
  if (text.starts_with('T')) {
    text.remove_prefix(1);
    any = false;
    if (!takeUnits(OF_THE_DAY, &text, &seconds, &any)) {
      return std::nullopt;
    }
  }
  if (!any || !text.empty() || seconds > LONGEST) {
    return std::nullopt;
  }
  return units::roundedFromSeconds(negative ? -seconds : seconds);
}

std::string durationText(std::int64_t microseconds) {
  return "PT" + textOf(units::toSeconds(microseconds)) + "S";
}

std::optional<std::int64_t> readDateTime(const std::string& text) {
  const std::unique_ptr<GTimeZone, GDeleter<g_time_zone_unref>> utc(g_time_zone_new_utc());
  const GDateTimePtr time(g_date_time_new_from_iso8601(text.c_str(), utc.get()));
  if (!time) {
    return std::nullopt;
  }
  return units::fromSeconds(g_date_time_to_unix(time.get())) +
         g_date_time_get_microsecond(time.get());
}

std::string dateTimeText(std::int64_t microseconds) {
  const std::int64_t seconds = microseconds / units::MICROSECONDS_PER_SECOND;
  const GDateTimePtr time(g_date_time_new_from_unix_utc(seconds));
  if (!time) {
    return "1970-01-01T00:00:00.000Z";
  }
  const GTextPtr whole(g_date_time_format(time.get(), "%Y-%m-%dT%H:%M:%S"));
  std::array<char, 16> part;
  std::snprintf(part.data(), part.size(), ".%03dZ",
                static_cast<int>((microseconds - units::fromSeconds(seconds)) /
                                 units::MICROSECONDS_PER_MILLISECOND));
  return whole.get() + std::string(part.data());
}

}  // namespace device::onvif
