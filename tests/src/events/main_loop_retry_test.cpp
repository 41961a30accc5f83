#include "events/main_loop_retry.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <memory>

namespace {

// Waits, really, until a timer is due.
void runOnce() {
  g_main_context_iteration(nullptr, TRUE);
}

TEST(MainLoopRetryTest, TriesUntilItSucceeds) {
  int attempts = 0;
  MainLoopRetry retry([&attempts] { return ++attempts == 2; });
  retry.begin();
  EXPECT_EQ(attempts, 0) << "not on the caller's thread";
  runOnce();
  EXPECT_EQ(attempts, 1);
  runOnce();
  EXPECT_EQ(attempts, 2);
}

TEST(MainLoopRetryTest, BegunTwiceItTriesOnceAtATime) {
  int attempts = 0;
  MainLoopRetry retry([&attempts] { return ++attempts == 2; });
  retry.begin();
  retry.begin();
  runOnce();
  EXPECT_EQ(attempts, 1);
  EXPECT_FALSE(g_main_context_iteration(nullptr, FALSE));
}

TEST(MainLoopRetryTest, MayBeBegunAgain) {
  int attempts = 0;
  MainLoopRetry retry([&attempts] {
    ++attempts;
    return true;
  });
  retry.begin();
  runOnce();
  retry.begin();
  runOnce();
  EXPECT_EQ(attempts, 2);
}

// As when another thread asks for more while an attempt runs that succeeds.
TEST(MainLoopRetryTest, BegunDuringAnAttemptItTriesOnceMore) {
  int attempts = 0;
  MainLoopRetry* self = nullptr;
  MainLoopRetry retry([&] {
    if (++attempts == 1) {
      self->begin();
    }
    return true;
  });
  self = &retry;
  retry.begin();
  runOnce();
  runOnce();
  EXPECT_EQ(attempts, 2);
}

TEST(MainLoopRetryTest, BegunDuringAnAttemptThatFailsItTriesOnceAtATime) {
  int attempts = 0;
  MainLoopRetry* self = nullptr;
  MainLoopRetry retry([&] {
    if (++attempts == 1) {
      self->begin();
    }
    return attempts == 2;
  });
  self = &retry;
  retry.begin();
  runOnce();
  // Due after every timer of the retry.
  bool isOver = false;
  const auto end = [](gpointer flag) -> gboolean {
    *static_cast<bool*>(flag) = true;
    return G_SOURCE_REMOVE;
  };
  g_timeout_add(1100, end, &isOver);
  while (!isOver) {
    runOnce();
  }
  EXPECT_EQ(attempts, 2);
}

TEST(MainLoopRetryTest, TriesNothingOnceItHasGone) {
  int attempts = 0;
  auto retry = std::make_unique<MainLoopRetry>([&attempts] {
    ++attempts;
    return false;
  });
  retry->begin();
  retry.reset();
  runOnce();
  EXPECT_EQ(attempts, 0);
}

}  // namespace
