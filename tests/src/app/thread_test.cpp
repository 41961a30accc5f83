#include "app/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

namespace {

// Counts its runs and ends when it is told to, or when the thread is stopped.
struct Work {
  std::atomic<int> runs{0};
  std::promise<std::thread::id> started;
  std::promise<void> release;

  static gpointer run(gpointer data) {
    auto* work = static_cast<Work*>(data);
    ++work->runs;
    work->started.set_value(std::this_thread::get_id());
    work->release.get_future().wait();
    return nullptr;
  }
};

struct Polling {
  Thread thread;
  std::promise<void> started;
  std::atomic<bool> ended{false};

  static gpointer run(gpointer data) {
    auto* polling = static_cast<Polling*>(data);
    polling->started.set_value();
    while (polling->thread.isRunning()) {
      std::this_thread::yield();
    }
    polling->ended = true;
    return nullptr;
  }
};

TEST(ThreadTest, RunsTheFunctionWithItsDataOnAnotherThread) {
  Work work;
  Thread thread;
  EXPECT_FALSE(thread.isRunning());
  thread.start(&Work::run, &work);
  EXPECT_NE(work.started.get_future().get(), std::this_thread::get_id());
  EXPECT_TRUE(thread.isRunning());
  work.release.set_value();
  thread.join();
  EXPECT_EQ(work.runs, 1);
}

TEST(ThreadTest, StartWhileRunningDoesNothing) {
  Work first;
  Work second;
  Thread thread;
  thread.start(&Work::run, &first);
  thread.start(&Work::run, &second);
  first.release.set_value();
  second.release.set_value();
  thread.join();
  EXPECT_EQ(first.runs, 1);
  EXPECT_EQ(second.runs, 0);
}

TEST(ThreadTest, StopOnlyClearsTheFlagThatTheFunctionPolls) {
  Polling polling;
  polling.thread.start(&Polling::run, &polling);
  polling.started.get_future().wait();
  polling.thread.stop();
  EXPECT_FALSE(polling.thread.isRunning());
  polling.thread.join();
  EXPECT_TRUE(polling.ended);
}

TEST(ThreadTest, StopDoesNotWaitForTheFunction) {
  Work work;
  Thread thread;
  thread.start(&Work::run, &work);
  thread.stop();
  EXPECT_FALSE(thread.isRunning());
  work.release.set_value();
  thread.join();
}

TEST(ThreadTest, JoinWithoutAThreadDoesNothing) {
  Thread thread;
  thread.join();
  EXPECT_FALSE(thread.isRunning());
}

TEST(ThreadTest, JoinTwiceDoesNothingTheSecondTime) {
  Work work;
  Thread thread;
  thread.start(&Work::run, &work);
  work.release.set_value();
  thread.join();
  thread.join();
  EXPECT_EQ(work.runs, 1);
}

TEST(ThreadTest, StartsAgainAfterStopAndJoin) {
  Work first;
  Work second;
  Thread thread;
  thread.start(&Work::run, &first);
  first.release.set_value();
  thread.stop();
  thread.join();
  thread.start(&Work::run, &second);
  second.release.set_value();
  thread.join();
  EXPECT_EQ(first.runs, 1);
  EXPECT_EQ(second.runs, 1);
}

TEST(ThreadTest, DestructionLetsGoOfAThreadThatStillRuns) {
  Work work;
  std::promise<void> ended;
  const std::future<void> end = ended.get_future();
  struct Late {
    Work* work;
    std::promise<void> ended;
  };
  auto late = std::make_unique<Late>(Late{&work, std::move(ended)});
  {
    Thread thread;
    thread.start(
        [](gpointer data) -> gpointer {
          const std::unique_ptr<Late> late(static_cast<Late*>(data));
          Work::run(late->work);
          late->ended.set_value();
          return nullptr;
        },
        late.release());
  }
  work.release.set_value();
  end.wait();
  EXPECT_EQ(work.runs, 1);
}

TEST(ThreadTest, StopCanBeExtended) {
  class Worker : public Thread {
   public:
    void stop() override {
      stopped = true;
      Thread::stop();
    }
    bool stopped = false;
  };
  Worker worker;
  Thread& thread = worker;
  thread.stop();
  EXPECT_TRUE(worker.stopped);
}

}  // namespace
