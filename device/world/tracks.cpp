#include "world/tracks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <map>
#include <string_view>
#include <utility>

#include "base/text.h"

namespace device {
namespace {

constexpr std::string_view HEADING = "time_s,id,x_m,y_m";
constexpr double VELOCITY_SPAN = 0.4;  // seconds to either side of a moment

struct Row {
  double time;
  int id;
  GroundPoint position;
};

class RowReader {
 public:
  RowReader(const std::string& name, int line) : where(name + ":" + std::to_string(line) + ": ") {}

  [[noreturn]] void fail(const std::string& reason) const { throw TrackError(where + reason); }

  Row read(std::string_view text) const {
    const std::array<std::string_view, 4> fields = split(text);
    return {.time = number(fields[0], "time_s"),
            .id = whole(fields[1]),
            .position = {number(fields[2], "x_m"), number(fields[3], "y_m")}};
  }

 private:
  std::array<std::string_view, 4> split(std::string_view text) const {
    std::array<std::string_view, 4> fields;
    const auto commas = std::count(text.begin(), text.end(), ',');
    if (commas != 3) {
      fail("expected 4 fields, found " + std::to_string(commas + 1));
    }
    for (std::string_view& field : fields) {
      const std::size_t comma = text.find(',');
      field = text.substr(0, comma);
      text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return fields;
  }

  double number(std::string_view text, const char* field) const {
    const auto value = text::toNumber<double>(text);
    if (!value || !std::isfinite(*value)) {
      fail(std::string(field) + " '" + std::string(text) + "' is not a number");
    }
    return *value;
  }

  int whole(std::string_view text) const {
    const auto value = text::toNumber<int>(text);
    if (!value) {
      fail("id '" + std::string(text) + "' is not a whole number");
    }
    return *value;
  }

  std::string where;
};

constexpr std::string_view BLANKS = " \t\r";

}  // namespace

Track::Track(int id, std::vector<TrackPoint> points) : id(id), points(std::move(points)) {}

std::optional<Person> Track::at(double time) const {
  if (time < start() || time > end()) {
    return std::nullopt;
  }
  Person person{.id = id, .position = positionAt(time), .velocity = {}, .height = PERSON_HEIGHT};
  const double before = std::max(time - VELOCITY_SPAN, start());
  const double after = std::min(time + VELOCITY_SPAN, end());
  if (after > before) {
    const GroundPoint from = positionAt(before);
    const GroundPoint to = positionAt(after);
    person.velocity = {(to.x - from.x) / (after - before), (to.y - from.y) / (after - before)};
  }
  return person;
}

GroundPoint Track::positionAt(double time) const {
  const auto after =
      std::upper_bound(points.begin(), points.end(), time,
                       [](double moment, const TrackPoint& point) { return moment < point.time; });
  if (after == points.end()) {
    return points.back().position;
  }
  const TrackPoint& from = *(after - 1);
  const double share = (time - from.time) / (after->time - from.time);
  return {std::lerp(from.position.x, after->position.x, share),
          std::lerp(from.position.y, after->position.y, share)};
}

TrackSet::TrackSet(std::vector<Track> everybody) : tracks(std::move(everybody)) {
  std::stable_sort(tracks.begin(), tracks.end(),
                   [](const Track& a, const Track& b) { return a.start() < b.start(); });
}

TrackSet TrackSet::parse(std::istream& in, const std::string& name) {
  std::string line;
  int number = 1;
  if (!std::getline(in, line) || text::trimmed(line, BLANKS) != HEADING) {
    RowReader(name, number).fail("expected the heading " + std::string(HEADING));
  }
  std::map<int, std::vector<TrackPoint>> people;
  while (std::getline(in, line)) {
    ++number;
    const std::string_view text = text::trimmed(line, BLANKS);
    if (text.empty()) {
      continue;
    }
    const RowReader reader(name, number);
    const Row row = reader.read(text);
    std::vector<TrackPoint>& points = people[row.id];
    if (!points.empty() && row.time <= points.back().time) {
      reader.fail("time of person " + std::to_string(row.id) + " does not grow");
    }
    points.push_back({row.time, row.position});
  }
  if (people.empty()) {
    RowReader(name, number).fail("no rows");
  }
  std::vector<Track> tracks;
  tracks.reserve(people.size());
  for (auto& [id, points] : people) {
    tracks.emplace_back(id, std::move(points));
  }
  return TrackSet(std::move(tracks));
}

TrackSet TrackSet::read(const std::filesystem::path& file) {
  std::ifstream in(file);
  if (!in) {
    throw TrackError(file.string() + ": cannot be opened");
  }
  return parse(in, file.string());
}

double TrackSet::start() const {
  return tracks.empty() ? 0 : tracks.front().start();
}

double TrackSet::end() const {
  double latest = 0;
  for (const Track& track : tracks) {
    latest = &track == &tracks.front() ? track.end() : std::max(latest, track.end());
  }
  return latest;
}

Bounds TrackSet::bounds() const {
  if (tracks.empty()) {
    return {};
  }
  const GroundPoint first = tracks.front().getPoints().front().position;
  Bounds bounds{first, first};
  for (const Track& track : tracks) {
    for (const TrackPoint& point : track.getPoints()) {
      bounds.low.x = std::min(bounds.low.x, point.position.x);
      bounds.low.y = std::min(bounds.low.y, point.position.y);
      bounds.high.x = std::max(bounds.high.x, point.position.x);
      bounds.high.y = std::max(bounds.high.y, point.position.y);
    }
  }
  return bounds;
}

std::vector<Person> TrackSet::at(double time) const {
  std::vector<Person> people;
  for (const Track& track : tracks) {
    if (track.start() > time) {
      break;
    }
    if (const std::optional<Person> person = track.at(time)) {
      people.push_back(*person);
    }
  }
  return people;
}

}  // namespace device
