#ifndef DEVICE_WORLD_TRACKS_H
#define DEVICE_WORLD_TRACKS_H

#include <filesystem>
#include <istream>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "world/direction.h"

namespace device {

// A track file that cannot be used. what() is "FILE:LINE: REASON".
class TrackError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct TrackPoint {
  double time = 0;  // seconds
  GroundPoint position;
};

inline constexpr double PERSON_HEIGHT = 1.75;  // metres from the ground to the crown

// A person at one moment.
struct Person {
  int id = 0;
  GroundPoint position;  // metres
  GroundPoint velocity;  // metres per second
  double height = PERSON_HEIGHT;
};

// One person's way: there from its first point to its last, both included.
class Track {
 public:
  // Points have growing times; at least one.
  Track(int id, std::vector<TrackPoint> points);

  int getId() const { return id; }
  double start() const { return points.front().time; }
  double end() const { return points.back().time; }
  std::span<const TrackPoint> getPoints() const { return points; }

  // Position by linear interpolation; the velocity is the mean over 0.8 s around the moment (less
  // at the ends), so that it does not jump from point to point. Nothing outside the person's time.
  std::optional<Person> at(double time) const;

 private:
  GroundPoint positionAt(double time) const;

  int id;
  std::vector<TrackPoint> points;
};

struct Bounds {
  GroundPoint low;
  GroundPoint high;
};

// Everybody of a recording.
class TrackSet {
 public:
  TrackSet() = default;
  explicit TrackSet(std::vector<Track> everybody);

  // Reads lines of time_s,id,x_m,y_m under a heading of these names. Rows of one person need not
  // follow each other, but their times must grow. Empty lines are allowed. name appears in errors.
  // Throws TrackError: no or another heading, a wrong number of fields, a field that is no finite
  // number, an id that is no whole number, times that do not grow, no rows at all.
  static TrackSet parse(std::istream& in, const std::string& name);
  static TrackSet read(const std::filesystem::path& file);

  // By growing start.
  std::span<const Track> getTracks() const { return tracks; }
  bool empty() const { return tracks.empty(); }

  double start() const;  // of the first person; 0 when empty
  double end() const;    // of the last person; 0 when empty
  Bounds bounds() const;

  // Everybody there at a moment, by track order.
  std::vector<Person> at(double time) const;

 private:
  std::vector<Track> tracks;
};

}  // namespace device

#endif
