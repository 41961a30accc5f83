#ifndef SCORE_DEVICE_IN_MEMORY_H
#define SCORE_DEVICE_IN_MEMORY_H

#include <functional>
#include <string>
#include <vector>

#include "memory/device.h"
#include "model/model.h"
#include "score/tuning.h"
#include "services/application_monitor.h"
#include "services/event_table.h"
#include "services/head_drive.h"
#include "services/head_requests.h"
#include "services/parameter_store.h"
#include "world/world.h"

namespace score {

// The virtual device without its ways to the application: head, parameters, lenses and events of a
// model, at the time of the platform in memory. Stands behind that platform for its life.
class DeviceInMemory final : public memory::Device {
 public:
  // The head answers from bootSeconds after now on.
  DeviceInMemory(const device::Model& model, const device::World& world, std::uint64_t seed,
                 double bootSeconds);
  DeviceInMemory(const DeviceInMemory&) = delete;
  DeviceInMemory& operator=(const DeviceInMemory&) = delete;
  ~DeviceInMemory() override;

  device::Head& head() { return drive.getHead(); }

  // The tracker's state as it was told last, empty before.
  const std::string& state() const { return monitor.getState(); }

  // How the head has been tuned.
  device::TuningFigures tuning() const;

  // Lines of the log, of all priorities.
  const std::vector<std::string>& lines() const { return logged; }

  std::optional<std::string> parameter(const std::string& name) override;
  std::optional<memory::Lens> lens(int channel) override;
  std::string answerOfHead(std::string_view line) override;
  memory::CallTime callTime() override;
  bool move(int channel, const memory::HeadMove& move) override;
  bool goHome(int channel, int speed) override;
  std::optional<ptztolva_status> status(int channel) override;
  std::uint32_t declareEvent(GVariant* keys, bool isStateless, std::int64_t time) override;
  bool sendEvent(std::uint32_t id, GVariant* keys, std::int64_t time) override;
  bool undeclareEvent(std::uint32_t id) override;
  void log(int priority, const std::string& line) override;

 private:
  const device::World& world;
  device::HeadDrive drive;
  device::CallDelay callDelay;
  device::ParameterStore parameters;
  device::HeadParameters headParameters;
  device::EventTable events;
  device::TuningWatch tuningWatch;
  std::vector<std::string> logged;
  device::ApplicationMonitor monitor;
};

}  // namespace score

#endif
