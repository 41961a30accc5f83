#ifndef DEVICE_HEAD_STATUS_SENSOR_H
#define DEVICE_HEAD_STATUS_SENSOR_H

#include <cstdint>
#include <deque>

#include "head/head_status.h"
#include "random/chance.h"

namespace device {

// How a head tells where it is. With age and period 0 it tells what is at the moment of asking;
// step and noise apply all the same.
struct StatusSensorSetup {
  double age = 0;     // seconds from taking a reading to its being told
  double period = 0;  // seconds between readings
  double step = 0;    // degrees to whose multiples pan and tilt are rounded, 0 for none
  double noise = 0;   // degrees, standard deviation of pan and tilt in a reading
};

// Takes readings of the head at even times and tells the last one that is old enough. Before the
// first is, it tells the position at the start.
class StatusSensor {
 public:
  StatusSensor(const StatusSensorSetup& setup, const HeadStatus& start, std::uint64_t seed);

  // Seconds until it wants to read again; infinite when it needs no readings because age and period
  // are 0.
  double untilReading() const;

  // Lets time pass, at most untilReading().
  void advance(double seconds);

  // Takes a reading when one is due.
  void read(const HeadStatus& head);

  // What the head tells while it really is at another place.
  HeadStatus told(const HeadStatus& head);

 private:
  struct Reading {
    double age;  // seconds
    HeadStatus status;
  };

  bool readsAhead() const { return setup.age > 0 || setup.period > 0; }
  double period() const;
  HeadStatus measured(const HeadStatus& head);

  StatusSensorSetup setup;
  Chance chance;
  HeadStatus last;               // told now
  std::deque<Reading> readings;  // not yet told
  double sinceReading;           // seconds
};

}  // namespace device

#endif
