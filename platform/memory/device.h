// What stands behind the libraries in memory: one device in the same process.
#ifndef MEMORY_DEVICE_H
#define MEMORY_DEVICE_H

#include <glib.h>
#include <ptztolva.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace memory {

struct Lens {
  double horizontalFov = 0;  // degrees across the upright picture
  double verticalFov = 0;
  int rotation = 0;  // of the sensor, degrees
};

// One axis of a command: a kind of PTZTOLVA_MOVE_..., and degrees, zoom steps or percent.
struct AxisMove {
  int kind = PTZTOLVA_MOVE_NONE;
  double value = 0;
};

struct HeadMove {
  AxisMove pan;
  AxisMove tilt;
  AxisMove zoom;
  int speed = 100;  // percent
};

// How long one call to the head's service is on its way, microseconds.
struct CallTime {
  std::int64_t there = 0;
  std::int64_t back = 0;
};

// The device that the libraries speak to. All calls come one at a time; channels count from 1, but
// for lens().
class Device {
 public:
  virtual ~Device() = default;

  virtual std::optional<std::string> parameter(const std::string& name) = 0;

  // channel counts from 0.
  virtual std::optional<Lens> lens(int channel) = 0;

  // The answer of the remote head to a request line, both without line feed.
  virtual std::string answerOfHead(std::string_view line) = 0;

  // Drawn anew for each call to the head.
  virtual CallTime callTime() = 0;

  // False for what the head refuses.
  virtual bool move(int channel, const HeadMove& move) = 0;
  virtual bool goHome(int channel, int speed) = 0;
  virtual std::optional<ptztolva_status> status(int channel) = 0;

  // Events as they would pass over the bus, "a(ssavusss)"; times are microseconds since 1970. The
  // id is 0 for an event that is refused.
  virtual std::uint32_t declareEvent(GVariant* keys, bool isStateless, std::int64_t time) = 0;
  virtual bool sendEvent(std::uint32_t id, GVariant* keys, std::int64_t time) = 0;
  virtual bool undeclareEvent(std::uint32_t id) = 0;

  // A line of the system log without its line feeds.
  virtual void log(int priority, const std::string& line) = 0;
};

// Puts a device behind the libraries; null takes it away. It must outlive its use.
void setDevice(Device* device);

// Null when there is none: nothing can be reached then.
Device* device();

}  // namespace memory

#endif
