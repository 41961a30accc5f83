#include "web_server/last_minute.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace device {

namespace {

template <typename Items, typename Write>
std::string listOf(const Items& items, Write write) {
  std::string text = "[";
  for (const auto& item : items) {
    text += (text.size() > 1 ? "," : "") + write(item);
  }
  return text + "]";
}

template <typename Items>
void forgetOlder(Items& items, double time) {
  while (!items.empty() && items.front().time < time) {
    items.pop_front();
  }
}

template <typename Items>
void keepAtMost(Items& items, std::size_t most) {
  if (items.size() > most) {
    items.pop_front();
  }
}

std::string directionText(const Direction& direction) {
  return text::formatted("[%.2f,%.2f]", direction.pan, direction.tilt);
}

}  // namespace

void LastMinute::takeMoment(double time, const HeadStatus& head,
                            const std::vector<PersonView>& people) {
  Moment moment{time, head, {}};
  moment.people.reserve(std::min(people.size(), MOST_PEOPLE));
  for (const PersonView& person : people) {
    if (moment.people.size() == MOST_PEOPLE) {
      break;
    }
    moment.people.push_back({person.id, person.position.x, person.position.y, person.centre});
  }
  moments.push_back(std::move(moment));
  keepAtMost(moments, MOST_MOMENTS);
  forgetOlderThan(time - SPAN);
}

void LastMinute::takeExpectation(double time, Expectation expected) {
  expected.people.resize(std::min(expected.people.size(), MOST_PEOPLE));
  expectations.push_back({time, std::move(expected)});
  keepAtMost(expectations, MOST_MOMENTS);
  forgetOlderThan(time - SPAN);
}

void LastMinute::takeEvent(double time, std::string json) {
  if (json.size() > MOST_EVENT_BYTES) {
    return;
  }
  eventBytes += json.size();
  events.push_back({time, std::move(json)});
  while (events.size() > MOST_EVENTS || eventBytes > MOST_EVENT_BYTES) {
    forgetFirstEvent();
  }
  forgetOlderThan(time - SPAN);
}

void LastMinute::forgetFirstEvent() {
  eventBytes -= events.front().json.size();
  events.pop_front();
}

void LastMinute::forgetOlderThan(double time) {
  forgetOlder(moments, time);
  forgetOlder(expectations, time);
  while (!events.empty() && events.front().time < time) {
    forgetFirstEvent();
  }
}

std::string LastMinute::json(double now) {
  forgetOlderThan(now - SPAN);
  const std::string heads = listOf(moments, [](const Moment& moment) {
    const HeadStatus& head = moment.head;
    return text::formatted("[%.3f,%.2f,%.2f,%d,%.3f,%.3f]", moment.time, head.pan, head.tilt,
                           head.zoom, head.pictureWidth, head.pictureHeight);
  });
  const std::string people = listOf(moments, [](const Moment& moment) {
    return text::formatted("[%.3f,", moment.time) +
           listOf(moment.people,
                  [](const Person& person) {
                    return text::formatted("[%d,%.2f,%.2f,%.2f,%.2f]", person.id, person.x,
                                           person.y, person.centre.pan, person.centre.tilt);
                  }) +
           "]";
  });
  const std::string expected = listOf(expectations, [](const Expected& each) {
    return text::formatted("[%.3f,", each.time) +
           (each.what.aim ? directionText(*each.what.aim) : "null") + "," +
           listOf(each.what.people,
                  [](const Expectation::Person& person) {
                    return text::formatted("[%lld,%.2f,%.2f]", person.identity, person.x, person.y);
                  }) +
           "]";
  });
  return text::formatted("{\"time\":%.3f", now) + ",\"heads\":" + heads + ",\"people\":" + people +
         ",\"expected\":" + expected +
         ",\"events\":" + listOf(events, [](const Event& event) { return event.json; }) + "}";
}

}  // namespace device
