#ifndef DEVICE_WORLD_WORLD_H
#define DEVICE_WORLD_WORLD_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "head/head.h"
#include "world/analytics.h"
#include "world/frame.h"
#include "world/overview_camera.h"
#include "world/playback.h"
#include "world/world_setup.h"

namespace device {

struct WorldOptions {
  std::optional<std::filesystem::path> tracks;  // a recording; the product's own people without
  bool asRecorded = false;                      // without added rests
  std::uint64_t seed = 1;     // of the product's own people and of the analytics' noise
  double includeArea = 0.97;  // half the side of the square in the picture that counts as inside
};

// A person as seen from the mast.
struct PersonView {
  int id = 0;
  Direction centre;        // half-way up the person
  double height = 0;       // degrees from feet to crown
  bool inside = false;     // the centre lies within the include area of some channel's picture
  GroundPoint position{};  // of the feet
};

// The ground with its people, and the overview cameras with their analytics. World time is seconds
// from 0. Not thread-safe: its owner serialises the calls.
class World {
 public:
  // Throws TrackError for a recording that cannot be used.
  World(const WorldSetup& setup, const WorldOptions& options);

  int channelCount() const { return static_cast<int>(channels.size()); }

  // channel counts from 0.
  const OverviewCamera& camera(int channel) const { return channels[channel].camera; }

  // Tells where the head looks; channels that sit on the head look there from then on.
  void followHead(const HeadStatus& head);

  // What the analytics of a channel report at a moment. Call it at the frame rate (10 times a
  // second) with growing times; each call is one frame. timestamp is handed through.
  Frame frame(int channel, double time, std::int64_t timestamp);

  // The truth: everybody at a moment.
  std::vector<PersonView> people(double time) const;

 private:
  struct Channel {
    OverviewCamera camera;
    Analytics analytics;
    bool movesWithHead;
  };

  bool isInside(const SpacePoint& centre) const;

  SpacePoint mast;
  double includeArea;
  Playback playback;
  std::vector<Channel> channels;
};

}  // namespace device

#endif
