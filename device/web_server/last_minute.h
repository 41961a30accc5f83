#ifndef DEVICE_WEB_SERVER_LAST_MINUTE_H
#define DEVICE_WEB_SERVER_LAST_MINUTE_H

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "head/head_status.h"
#include "world/direction.h"
#include "world/world.h"

namespace device {

// What the last minute held, for a page that is opened now: where the head looked and people were,
// what the application expected of them, and the events. Bounded whatever comes: the oldest goes.
// Times are seconds of one clock that does not go backwards, given by the owner.
class LastMinute {
 public:
  static constexpr double SPAN = 60;                // s
  static constexpr std::size_t MOST_MOMENTS = 300;  // of each kind
  static constexpr std::size_t MOST_PEOPLE = 100;   // in a moment; further are left out
  static constexpr std::size_t MOST_EVENTS = 300;
  static constexpr std::size_t MOST_EVENT_BYTES = std::size_t{256} << 10;  // together

  // What the application expected.
  struct Expectation {
    struct Person {
      long long identity = 0;
      double x = 0;  // m
      double y = 0;
    };

    std::optional<Direction> aim;  // none while nobody was followed
    std::vector<Person> people;
  };

  void takeMoment(double time, const HeadStatus& head, const std::vector<PersonView>& people);
  void takeExpectation(double time, Expectation expected);

  // json: an event as the streams tell it; one that is longer than all may be is left out.
  void takeEvent(double time, std::string json);

  // All of it that is not older than SPAN at a time, in one line, the oldest first:
  //
  //   {"time":s,
  //    "heads":[[s,pan,tilt,zoom,hfov,vfov],...],
  //    "people":[[s,[[id,x,y,pan,tilt],...]],...],
  //    "expected":[[s,[pan,tilt] or null,[[identity,x,y],...]],...],
  //    "events":[EVENT,...]}
  std::string json(double now);

 private:
  struct Person {
    int id;
    double x;
    double y;
    Direction centre;
  };
  struct Moment {
    double time;
    HeadStatus head;
    std::vector<Person> people;
  };
  struct Expected {
    double time;
    Expectation what;
  };
  struct Event {
    double time;
    std::string json;
  };

  void forgetOlderThan(double time);
  void forgetFirstEvent();

  std::deque<Moment> moments;
  std::deque<Expected> expectations;
  std::deque<Event> events;
  std::size_t eventBytes = 0;
};

}  // namespace device

#endif
