#include "services/periodic_timer.h"

#include <utility>

namespace device {

namespace {

gboolean dispatch(GSource*, GSourceFunc callback, gpointer data) {
  return callback(data);
}

GSourceFuncs s_functions = {nullptr, nullptr, dispatch, nullptr, nullptr, nullptr};

}  // namespace

PeriodicTimer::PeriodicTimer(std::int64_t periodMicroseconds, std::function<void()> callback)
    : period(periodMicroseconds),
      next(g_get_monotonic_time() + period),
      callback(std::move(callback)),
      source(g_source_new(&s_functions, sizeof(GSource))) {
  g_source_set_callback(source.get(), due, this, nullptr);
  g_source_set_ready_time(source.get(), next);
  g_source_attach(source.get(), g_main_context_get_thread_default());
}

gboolean PeriodicTimer::due(gpointer data) {
  auto* self = static_cast<PeriodicTimer*>(data);
  const std::int64_t late = g_get_monotonic_time() - self->next;
  self->next += self->period * (1 + late / self->period);
  g_source_set_ready_time(self->source.get(), self->next);
  self->callback();
  return G_SOURCE_CONTINUE;
}

}  // namespace device
