#ifndef DEVICE_HEAD_HEAD_COMMAND_H
#define DEVICE_HEAD_HEAD_COMMAND_H

#include <optional>

namespace device {

// How a command drives an axis; the numbers are those of the PTZ service.
enum class MoveKind { none = 0, absolute = 1, continuous = 3 };

// value: degrees or zoom steps for absolute, percent of full speed (-100 to 100) for continuous.
struct AxisCommand {
  MoveKind kind = MoveKind::none;
  double value = 0;
};

// An axis with None keeps what it does.
struct HeadCommand {
  AxisCommand pan;
  AxisCommand tilt;
  AxisCommand zoom;
  int speed = 100;  // limit of absolute motions in percent; 0 with zero continuous speeds is a stop
                    // that also drops every command still on its way
  // Seconds for which continuous speeds hold without another command; the head's own time without.
  std::optional<double> hold{};
};

}  // namespace device

#endif
