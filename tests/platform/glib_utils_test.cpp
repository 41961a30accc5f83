#include "glib-utils.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

void start() {
  mainloop_start("app", "Nice Name", "topic");
}

// The thread that runs the default main context. Waits until the context has run the question.
std::thread::id mainLoopThread() {
  std::promise<std::thread::id> answer;
  auto result = answer.get_future();
  const GSourceFunc reply = [](gpointer data) -> gboolean {
    static_cast<std::promise<std::thread::id>*>(data)->set_value(std::this_thread::get_id());
    return G_SOURCE_REMOVE;
  };
  g_idle_add(reply, &answer);
  return result.get();
}

TEST(MainLoop, RunsTheDefaultContextInAThreadOfItsOwn) {
  start();
  EXPECT_NE(std::this_thread::get_id(), mainLoopThread());
}

TEST(MainLoop, FurtherCallsStartNoFurtherThread) {
  start();
  const std::thread::id first = mainLoopThread();
  start();
  start();
  std::set<std::thread::id> threads;
  for (int i = 0; i < 50; ++i) {
    threads.insert(mainLoopThread());
  }
  EXPECT_EQ(std::set<std::thread::id>{first}, threads);
}

TEST(MainLoop, MayBeStartedFromSeveralThreadsAtOnce) {
  std::vector<std::thread> callers;
  for (int i = 0; i < 8; ++i) {
    callers.emplace_back(start);
  }
  for (std::thread& caller : callers) {
    caller.join();
  }
  std::set<std::thread::id> threads;
  for (int i = 0; i < 50; ++i) {
    threads.insert(mainLoopThread());
  }
  EXPECT_EQ(1u, threads.size());
}

TEST(MainLoop, KeepsCopiesOfTheNames) {
  std::string name = "the-application";
  std::string niceName = "The Application";
  mainloop_start(name.c_str(), niceName.c_str(), "topic");
  name.assign(name.size(), 'x');
  niceName.assign(niceName.size(), 'x');
  // Only the first start of a process counts, so another test may have been first.
  EXPECT_NE(std::string(name), g_get_prgname());
  EXPECT_NE(std::string(niceName), g_get_application_name());
}

}  // namespace
