#include "web_server/last_minute.h"

#include <gtest/gtest.h>
#include <jansson.h>

#include <string>

#include "base/json_auto_ptr.h"

namespace device {
namespace {

// Times are the tests' own.
class LastMinuteTest : public testing::Test {
 protected:
  JsonAutoPtr read(double now) {
    const std::string text = minute.json(now);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    return JsonAutoPtr(json_loads(text.c_str(), JSON_REJECT_DUPLICATES, nullptr));
  }

  std::size_t count(double now, const char* list) {
    return json_array_size(json_object_get(read(now).get(), list));
  }

  static HeadStatus headAt(double pan) {
    HeadStatus head;
    head.pan = pan;
    head.tilt = -12.5;
    head.zoom = 700;
    head.pictureWidth = 30.25;
    head.pictureHeight = 17;
    return head;
  }

  static std::vector<PersonView> people(int count) {
    std::vector<PersonView> views(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      views[static_cast<std::size_t>(i)].id = i + 1;
      views[static_cast<std::size_t>(i)].position = {1.5, i * 1.0};
      views[static_cast<std::size_t>(i)].centre = {20, -8.25};
    }
    return views;
  }

  LastMinute minute;
};

TEST_F(LastMinuteTest, IsEmptyAtFirst) {
  EXPECT_EQ(minute.json(3.5), R"({"time":3.500,"heads":[],"people":[],"expected":[],"events":[]})");
}

TEST_F(LastMinuteTest, TellsHeadPeopleExpectationsAndEvents) {
  minute.takeMoment(10.25, headAt(-7.125), people(1));
  minute.takeExpectation(10.25, {Direction{4, -3}, {{9, 1.25, 6}}});
  minute.takeExpectation(10.5, {});
  minute.takeEvent(10.5, R"({"id":4})");
  minute.takeEvent(10.5, R"({"id":5})");
  EXPECT_EQ(minute.json(11),
            R"({"time":11.000,"heads":[[10.250,-7.12,-12.50,700,30.250,17.000]],)"
            R"("people":[[10.250,[[1,1.50,0.00,20.00,-8.25]]]],)"
            R"("expected":[[10.250,[4.00,-3.00],[[9,1.25,6.00]]],[10.500,null,[]]],)"
            R"("events":[{"id":4},{"id":5}]})");
}

TEST_F(LastMinuteTest, ForgetsWhatIsOlderThanAMinute) {
  for (int second = 0; second <= 100; ++second) {
    minute.takeMoment(second, headAt(second), {});
    minute.takeExpectation(second, {});
    minute.takeEvent(second, "{}");
  }
  for (const char* list : {"heads", "people", "expected", "events"}) {
    EXPECT_EQ(count(100, list), 61U) << list << ", of seconds 40 to 100";
  }
  // Though nothing has come meanwhile.
  for (const char* list : {"heads", "people", "expected", "events"}) {
    EXPECT_EQ(count(130, list), 31U) << list;
  }
  for (const char* list : {"heads", "people", "expected", "events"}) {
    EXPECT_EQ(count(1000, list), 0U) << list;
  }
}

TEST_F(LastMinuteTest, KeepsTheNewestWhenMuchComesAtOnce) {
  for (int i = 0; i < 1000; ++i) {
    minute.takeMoment(5 + i * 1e-3, headAt(i / 10.0), people(2));
    minute.takeExpectation(5 + i * 1e-3, {});
    minute.takeEvent(5 + i * 1e-3, std::to_string(i));
  }
  const JsonAutoPtr told = read(6);
  const json_t* heads = json_object_get(told.get(), "heads");
  EXPECT_EQ(json_array_size(heads), LastMinute::MOST_MOMENTS);
  EXPECT_NEAR(
      json_number_value(json_array_get(json_array_get(heads, LastMinute::MOST_MOMENTS - 1), 1)),
      99.9, 1e-9);
  EXPECT_EQ(count(6, "expected"), LastMinute::MOST_MOMENTS);
  const json_t* events = json_object_get(told.get(), "events");
  EXPECT_EQ(json_array_size(events), LastMinute::MOST_EVENTS);
  EXPECT_EQ(json_integer_value(json_array_get(events, 0)), 700);
}

TEST_F(LastMinuteTest, EventsTogetherAreNoLongerThanTheyMayBe) {
  const std::string large = '"' + std::string(LastMinute::MOST_EVENT_BYTES / 2, 'x') + '"';
  minute.takeEvent(1, "1");
  minute.takeEvent(2, large);
  minute.takeEvent(3, "3");
  EXPECT_EQ(count(4, "events"), 3U);
  minute.takeEvent(4, large);  // does not fit beside the first large one
  EXPECT_EQ(count(4, "events"), 2U);
  minute.takeEvent(5, '"' + std::string(LastMinute::MOST_EVENT_BYTES, 'x') + '"');
  EXPECT_EQ(count(5, "events"), 2U) << "one that is too long pushes nothing out";
}

TEST_F(LastMinuteTest, ACrowdDoesNotMakeItEndless) {
  for (int i = 0; i < 400; ++i) {
    minute.takeMoment(i * 0.25, headAt(0), people(500));
    LastMinute::Expectation expected;
    expected.people.resize(500, {1, 2, 3});
    minute.takeExpectation(i * 0.25, expected);
  }
  const JsonAutoPtr told = read(100);
  const json_t* last =
      json_array_get(json_object_get(told.get(), "people"), LastMinute::MOST_MOMENTS / 2);
  EXPECT_EQ(json_array_size(json_array_get(last, 1)), LastMinute::MOST_PEOPLE);
  // Half of what a reader may let wait.
  EXPECT_LT(minute.json(100).size(), std::size_t{2} << 20);
}

}  // namespace
}  // namespace device
