// GLib's threads, as fibres. The program's own definitions stand before those of the library.
#include <glib.h>

#include "memory/fibres.h"

namespace {

struct Started {
  int number = 0;
  int references = 2;  // of whoever started it, and of itself
  gpointer result = nullptr;
};

void release(Started* thread) {
  if (--thread->references == 0) {
    delete thread;
  }
}

}  // namespace

extern "C" {

GThread* g_thread_new(const gchar*, GThreadFunc function, gpointer data) {
  auto* thread = new Started;
  thread->number = memory::Fibres::get().start([thread, function, data] {
    thread->result = function(data);
    release(thread);
  });
  return reinterpret_cast<GThread*>(thread);
}

gpointer g_thread_join(GThread* joined) {
  auto* thread = reinterpret_cast<Started*>(joined);
  memory::Fibres::get().join(thread->number);
  const gpointer result = thread->result;
  release(thread);
  return result;
}

void g_thread_unref(GThread* thread) {
  release(reinterpret_cast<Started*>(thread));
}

}  // extern "C"
