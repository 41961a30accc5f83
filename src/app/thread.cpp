#include "app/thread.h"

void Thread::stop() {
  running = false;
}

Thread::~Thread() {
  if (thread != nullptr) {
    g_thread_unref(thread);
  }
}

void Thread::start(GThreadFunc func, gpointer data) {
  if (running.exchange(true)) {
    return;
  }
  thread = g_thread_new(nullptr, func, data);
}

void Thread::join() {
  if (thread == nullptr) {
    return;
  }
  g_thread_join(thread);
  thread = nullptr;
}
