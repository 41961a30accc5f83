#ifndef DEVICE_BRIDGE_HEAD_SIGHT_H
#define DEVICE_BRIDGE_HEAD_SIGHT_H

#include <cstdint>
#include <deque>
#include <optional>

#include "bridge/head_map.h"
#include "head/head_status.h"

namespace device::bridge {

// What is known of where the head is, from whatever told it last. Times are monotonic microseconds
// that are handed in.
class HeadSight {
 public:
  static constexpr std::int64_t GOOD_FOR = 1000000;  // of a status
  static constexpr std::int64_t STILL = 300000;      // so long in one place: it stands
  static constexpr std::int64_t STUCK = 1000000;     // so long, and what it says is not believed
  static constexpr double LEAST_TURN = 0.05;         // degrees; less is none
  static constexpr double LEAST_ZOOM_SHARE = 0.005;  // of the zoom's range

  // believesMoves: false for a head of which it is known that it tells its motion wrongly.
  explicit HeadSight(bool believesMoves) : believesMoves(believesMoves) {}

  // A status that was taken at a moment; one that is older than the last counts for nothing. What a
  // reading leaves out stays as it was; one without a place makes the last place no newer.
  void told(const HeadReading& reading, const HeadMap& map, std::int64_t taken);

  // As it was told last; nothing while nothing, or nothing new enough, is known.
  std::optional<HeadStatus> status(std::int64_t now) const;

  // When the last status was taken; nothing before the first.
  std::optional<std::int64_t> getTaken() const;

 private:
  struct Place {
    std::int64_t time = 0;
    double pan = 0;
    double tilt = 0;
    int zoom = 1;
  };
  struct Moved {
    bool panTilt = false;
    bool zoom = false;
  };
  // Whether it has changed its place within a time before the last status.
  Moved movedWithin(std::int64_t span) const;

  bool believesMoves;
  std::deque<Place> places;               // of the last STUCK
  std::optional<std::int64_t> zoomKnown;  // when it was told otherwise than for a guess
  std::optional<bool> panTiltMoves;
  std::optional<bool> zoomMoves;
  double fieldAngle = 0;  // degrees
  double widest = 0;      // degrees
};

}  // namespace device::bridge

#endif
