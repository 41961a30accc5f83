#include "base/glib_ptr.h"

#include <gtest/gtest.h>

namespace {

void fail(GError** error, const char* message) {
  g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_FAILED, message);
}

TEST(ErrorSlotTest, TellsWhatACallHasLeft) {
  ErrorSlot error;
  EXPECT_FALSE(error.isSet());
  fail(error.out(), "broken");
  EXPECT_TRUE(error.isSet());
  EXPECT_EQ(error.message(), "broken");
  EXPECT_TRUE(g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_FAILED));
}

TEST(ErrorSlotTest, AFailureWithoutAReasonHasAnUnknownOne) {
  EXPECT_EQ(ErrorSlot().message(), "unknown error");
}

TEST(ErrorSlotTest, TheNextCallBeginsWithoutTheErrorOfTheLast) {
  ErrorSlot error;
  fail(error.out(), "first");
  fail(error.out(), "second");
  EXPECT_EQ(error.message(), "second");
  error.out();
  EXPECT_FALSE(error.isSet());
}

TEST(ErrorSlotTest, HandsItsErrorOnToWhoeverWantsIt) {
  ErrorSlot error;
  ErrorSlot caller;
  fail(error.out(), "broken");
  error.handTo(caller.out());
  EXPECT_EQ(caller.message(), "broken");
  EXPECT_FALSE(error.isSet());
  fail(error.out(), "broken again");
  error.handTo(nullptr);
  EXPECT_FALSE(error.isSet());
}

TEST(ErrorSlotTest, HandsNothingOnWhenNothingWentWrong) {
  ErrorSlot caller;
  ErrorSlot().handTo(caller.out());
  EXPECT_FALSE(caller.isSet());
}

TEST(GSourcePtrTest, ItsSourceIsDestroyedWithIt) {
  GSource* source = g_idle_source_new();
  g_source_ref(source);
  GSourcePtr(source).reset();
  EXPECT_TRUE(g_source_is_destroyed(source));
  g_source_unref(source);
}

TEST(GSourceReferenceTest, ItsSourceStaysWithTheContext) {
  const GMainContextPtr context(g_main_context_new());
  GSource* source = g_idle_source_new();
  g_source_attach(source, context.get());
  GSourceReference(source).reset();
  EXPECT_FALSE(g_source_is_destroyed(source));
}

gboolean countCall(gpointer calls) {
  ++*static_cast<int*>(calls);
  return G_SOURCE_CONTINUE;
}

TEST(StartTimerTest, CallsAgainUntilItsOwnerGoes) {
  const GMainContextPtr context(g_main_context_new());
  int calls = 0;
  GSourcePtr timer = startTimer(0, countCall, &calls, context.get());
  g_main_context_iteration(context.get(), FALSE);
  g_main_context_iteration(context.get(), FALSE);
  EXPECT_EQ(calls, 2);
  timer.reset();
  EXPECT_FALSE(g_main_context_iteration(context.get(), FALSE));
  EXPECT_EQ(calls, 2);
}

TEST(StartTimerTest, BelongsToTheThreadsContext) {
  const GMainContextPtr context(g_main_context_new());
  g_main_context_push_thread_default(context.get());
  int calls = 0;
  const GSourcePtr timer = startTimer(0, countCall, &calls);
  g_main_context_pop_thread_default(context.get());
  EXPECT_EQ(g_source_get_context(timer.get()), context.get());
}

}  // namespace
