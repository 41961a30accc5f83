#include "web_server/following_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace device {
namespace {

using testing::SizeIs;

constexpr char WAY[] = "root.SentrelVideo.Following";
constexpr char THOUGHT[] =
    R"({"head":null,"aim":{"pan":12.5,"tilt":-4.0},)"
    R"("people":[{"identity":7,"place":[1.5,2.5]},{"identity":8,"place":[0.0,9.0]}]})";

class FollowingWatchTest : public testing::Test {
 protected:
  // Answers the question that waits; null: nobody answered.
  void answer(const char* text) {
    ASSERT_THAT(waiting, SizeIs(1));
    const auto done = waiting.front();
    waiting.clear();
    const std::string body = text != nullptr ? text : "";
    done(text != nullptr ? &body : nullptr);
  }

  void answerThought() {
    answer((std::string(R"({"method":"getFollowing","data":)") + THOUGHT + "}").c_str());
  }

  ParameterStore store{{{WAY, "predictive"}}};
  std::vector<std::function<void(const std::string*)>> waiting;
  std::string question;
  int told = 0;
  FollowingWatch watch{
      store,
      [this](const std::string& body, std::function<void(const std::string*)> done) {
        question = body;
        waiting.push_back(std::move(done));
      },
      [this] { ++told; }};
};

TEST_F(FollowingWatchTest, TellsWhatTheApplicationThinks) {
  EXPECT_EQ(watch.json(1), R"({"time":1.000,"chosen":"predictive","thought":null})");
  watch.look(true);
  EXPECT_NE(question.find(R"("method": "getFollowing")"), std::string::npos);
  answerThought();
  EXPECT_EQ(told, 1);
  EXPECT_EQ(watch.json(2),
            std::string(R"({"time":2.000,"chosen":"predictive","thought":)") + THOUGHT + "}");
  ASSERT_TRUE(watch.expectation());
  EXPECT_EQ(watch.expectation()->aim->pan, 12.5);
  ASSERT_THAT(watch.expectation()->people, SizeIs(2));
  EXPECT_EQ(watch.expectation()->people[1].identity, 8);
  EXPECT_EQ(watch.expectation()->people[1].y, 9.0);
}

TEST_F(FollowingWatchTest, AsksOneAtATime) {
  watch.look(true);
  watch.look(true);
  EXPECT_THAT(waiting, SizeIs(1));
  answer(nullptr);
  watch.look(true);
  EXPECT_THAT(waiting, SizeIs(1));
}

TEST_F(FollowingWatchTest, TheSpecifiedWayIsNotAsked) {
  store.set(WAY, "specified");
  watch.look(true);
  EXPECT_THAT(waiting, SizeIs(0));
  EXPECT_EQ(watch.json(1), R"({"time":1.000,"chosen":"specified","thought":null})");
}

TEST_F(FollowingWatchTest, IsAskedOnUntilTheOtherWayIsTaken) {
  watch.look(true);
  answerThought();
  store.set(WAY, "specified");
  watch.look(true);
  answerThought();
  EXPECT_TRUE(watch.expectation());
  watch.look(true);
  answer(R"({"error":{"code":"2005","message":"not found"}})");
  EXPECT_FALSE(watch.expectation());
  EXPECT_EQ(told, 3) << "of the end, too";
  watch.look(true);
  EXPECT_THAT(waiting, SizeIs(0));
}

TEST_F(FollowingWatchTest, NothingIsThoughtByAnApplicationThatHasEnded) {
  watch.look(true);
  answerThought();
  watch.look(false);
  EXPECT_FALSE(watch.expectation());
  EXPECT_EQ(told, 2);
  EXPECT_THAT(waiting, SizeIs(0));
}

TEST_F(FollowingWatchTest, AnswersThatCannotBeAreNone) {
  for (const char* text : {"", "{", "[]", "{}", R"({"data":null})", R"({"data":[1]})"}) {
    watch.look(true);
    answer(text);
    EXPECT_FALSE(watch.expectation()) << text;
  }
  watch.look(true);
  answer(R"({"data":{"aim":{"pan":"x"},"people":[{},{"place":[1]},3]}})");
  ASSERT_TRUE(watch.expectation());
  EXPECT_EQ(watch.expectation()->aim->pan, 0.0);
  EXPECT_THAT(watch.expectation()->people, SizeIs(3));
}

}  // namespace
}  // namespace device
