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
    : period_(periodMicroseconds),
      next_(g_get_monotonic_time() + period_),
      callback_(std::move(callback)),
      source_(g_source_new(&s_functions, sizeof(GSource))) {
  g_source_set_callback(source_.get(), due, this, nullptr);
  g_source_set_ready_time(source_.get(), next_);
  g_source_attach(source_.get(), g_main_context_get_thread_default());
}

gboolean PeriodicTimer::due(gpointer data) {
  auto* self = static_cast<PeriodicTimer*>(data);
  const std::int64_t late = g_get_monotonic_time() - self->next_;
  self->next_ += self->period_ * (1 + late / self->period_);
  g_source_set_ready_time(self->source_.get(), self->next_);
  self->callback_();
  return G_SOURCE_CONTINUE;
}

}  // namespace device
