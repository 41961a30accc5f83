// Main loops of the tests' own.
#ifndef TESTS_SUPPORT_MAIN_LOOP_H
#define TESTS_SUPPORT_MAIN_LOOP_H

#include <glib.h>

#include <functional>
#include <future>
#include <thread>
#include <utility>

#include "base/glib_ptr.h"

// Runs the default main loop until a condition holds, which another thread may bring about; false
// when it does not within a time that only a broken test needs.
inline bool iterateUntil(const std::function<bool()>& condition) {
  constexpr guint PATIENCE_MS = 120000;
  constexpr guint LOOK_MS = 5;
  bool isOver = false;
  const GSourcePtr patience = startTimer(
      PATIENCE_MS,
      [](gpointer isOver) -> gboolean {
        *static_cast<bool*>(isOver) = true;
        return G_SOURCE_CONTINUE;
      },
      &isOver, nullptr);
  const GSourcePtr look = startTimer(
      LOOK_MS, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr, nullptr);
  while (!condition() && !isOver) {
    g_main_context_iteration(nullptr, TRUE);
  }
  return condition();
}

// Runs a main context on a thread.
class LoopThread {
 public:
  explicit LoopThread(GMainContext* context)
      : loop(g_main_loop_new(context, FALSE)), thread([this] { run(); }) {}
  LoopThread(const LoopThread&) = delete;
  LoopThread& operator=(const LoopThread&) = delete;
  ~LoopThread() {
    invoke([this] { g_main_loop_quit(loop.get()); });
    thread.join();
  }

  // Runs a function on the thread and waits for its end.
  void invoke(const std::function<void()>& function) {
    std::promise<void> done;
    post([&] {
      function();
      done.set_value();
    });
    done.get_future().wait();
  }

  // The same without waiting.
  void post(std::function<void()> function) {
    const GSourceReference source(g_idle_source_new());
    g_source_set_priority(source.get(), G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source.get(),
        [](gpointer call) -> gboolean {
          (*static_cast<std::function<void()>*>(call))();
          return G_SOURCE_REMOVE;
        },
        new std::function<void()>(std::move(function)),
        [](gpointer call) { delete static_cast<std::function<void()>*>(call); });
    g_source_attach(source.get(), g_main_loop_get_context(loop.get()));
  }

 private:
  void run() {
    GMainContext* context = g_main_loop_get_context(loop.get());
    g_main_context_push_thread_default(context);
    g_main_loop_run(loop.get());
    g_main_context_pop_thread_default(context);
  }

  GMainLoopPtr loop;
  std::thread thread;
};

#endif
