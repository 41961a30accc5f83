#ifndef DEVICE_SERVICES_SERVED_HEAD_H
#define DEVICE_SERVICES_SERVED_HEAD_H

#include <map>
#include <optional>

#include "head/call_delay.h"
#include "head/head.h"

namespace device {

// A head as the PTZ service and the page use it, wherever it is: in this process, or behind a
// network. Nothing here waits: a command is on its way when its call returns. Used from the thread
// of the main loop only.
class ServedHead {
 public:
  ServedHead() = default;
  ServedHead(const ServedHead&) = delete;
  ServedHead& operator=(const ServedHead&) = delete;
  virtual ~ServedHead() = default;

  virtual void command(const HeadCommand& command) = 0;
  virtual void goHome(int speed) = 0;

  // False for a number below 1.
  virtual bool setPreset(int preset) = 0;
  // False when there is none of that number.
  virtual bool goToPreset(int preset, int speed) = 0;
  virtual std::map<int, HeadPosition> presets() = 0;

  // Where the head says that it is; nothing when it says nothing, or has not for too long.
  virtual std::optional<HeadStatus> toldStatus() = 0;

  // Where it is, as far as anybody knows, for whoever looks on.
  virtual HeadStatus presentStatus() = 0;

  // The number of the preset at which the head rests; 0 when it moves or rests elsewhere.
  virtual int presetHere() = 0;

  // The network in front of the service, where that is a part of the head.
  virtual CallDelay makeCallDelay() = 0;
};

}  // namespace device

#endif
