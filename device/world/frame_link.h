#ifndef DEVICE_WORLD_FRAME_LINK_H
#define DEVICE_WORLD_FRAME_LINK_H

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "random/chance.h"
#include "world/frame.h"

namespace device {

struct FrameLinkSetup {
  double age = 0;          // seconds from taking a picture to handing out its frame
  double ageJitter = 0;    // seconds, evenly distributed to either side of the age
  double lost = 0;         // probability of a frame to be lost
  double doubled = 0;      // ... to be handed out twice
  double swapped = 0;      // ... to be handed out behind the next one
  double stampOffset = 0;  // seconds by which every time stamp is late
  double stampJitter = 0;  // seconds, evenly distributed to either side

  bool isOff() const {
    return age == 0 && ageJitter == 0 && lost == 0 && doubled == 0 && swapped == 0 &&
           stampOffset == 0 && stampJitter == 0;
  }
};

// The way of one channel's frames from the picture to whoever receives them. Time is seconds of the
// world and never goes back.
class FrameLink {
 public:
  FrameLink(const FrameLinkSetup& setup, std::uint64_t seed, int channel);

  bool isOff() const { return setup.isOff(); }

  // A picture was taken now.
  void send(double now, Frame frame);

  // What is handed out up to now, in this order.
  std::vector<Frame> take(double now);

 private:
  struct Sent {
    double due;
    Frame frame;
  };

  FrameLinkSetup setup;
  Chance chance;
  std::deque<Sent> frames;  // one connection: one that would overtake waits behind the one before
  std::optional<Frame> held;
};

}  // namespace device

#endif
