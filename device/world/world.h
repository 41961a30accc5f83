#ifndef DEVICE_WORLD_WORLD_H
#define DEVICE_WORLD_WORLD_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "head/head_status.h"
#include "world/analytics.h"
#include "world/frame.h"
#include "world/frame_link.h"
#include "world/ghosts.h"
#include "world/overview_camera.h"
#include "world/playback.h"
#include "world/world_setup.h"

namespace device {

struct Scene;

// Where a recording is put: two of its points.
struct RecordingPlace {
  GroundPoint mast;  // where the mast stands
  GroundPoint home;  // where the head looks at home
};

struct WorldOptions {
  std::optional<std::filesystem::path> tracks{};  // a recording; the scene's own people without
  bool asRecorded = false;                        // without added rests
  std::uint64_t seed = 1;                         // of all chance in the world
  double includeArea = 0.97;  // half the side of the square in the picture that counts as inside
  std::string scene{};        // another one than the setup's, one of sceneNames()
  std::optional<RecordingPlace> place{};  // of the recording; as the scene puts it without
  std::optional<int> sureOf{};            // DetectionSetup's
};

// A person as seen from the mast.
struct PersonView {
  int id = 0;
  Direction centre;             // half-way up the person
  double height = 0;            // degrees from feet to crown
  bool inside = false;          // the centre lies within the include area of some channel's picture
  GroundPoint position{};       // of the feet
  double tall = PERSON_HEIGHT;  // metres
};

// The ground with its people, and the overview cameras with their analytics. World time is seconds
// from 0, always an argument: the world has no clock, no thread and no lock, so that its owner may
// step it in real time or as fast as it can. Its owner serialises the calls.
class World {
 public:
  // Throws TrackError for a recording that cannot be used.
  World(const WorldSetup& setup, const WorldOptions& options);

  int channelCount() const { return static_cast<int>(channels.size()); }

  // channel counts from 0. The camera as it really hangs.
  const OverviewCamera& camera(int channel) const { return channels[channel].camera; }

  // What stands on the ground and hides what is behind it.
  const std::vector<Block>& getScenery() const { return scenery; }

  // Trees, shadows of clouds and headlights in front of a camera.
  std::vector<GhostFigure> figures(const OverviewCamera& camera, double time) const {
    return ghosts.figures(camera, time);
  }

  // Tells where the head looks; channels that sit on the head look there from then on.
  void followHead(const HeadStatus& head);

  // What the analytics of a channel report at a moment. Call it at the frame rate (10 times a
  // second) with growing times; each call is one frame. timestamp is that of the picture.
  Frame frame(int channel, double time, std::int64_t timestamp);

  // The same, sent to whoever receives the frames of the channel; returns how many objects there
  // are. Then the frames that have come there up to a moment, in their order: at once, unless the
  // setup delays or loses them.
  int sendFrame(int channel, double time, std::int64_t timestamp);
  std::vector<Frame> receivedFrames(int channel, double time);

  // The truth: everybody at a moment.
  std::vector<PersonView> people(double time) const;

 private:
  struct Channel {
    OverviewCamera camera;
    Analytics analytics;
    FrameLink link;
    bool movesWithHead;
  };

  World(const WorldSetup& setup, const WorldOptions& options, Scene scene);

  std::vector<Person> peopleAt(double time) const;
  bool isInside(const SpacePoint& centre) const;

  SpacePoint mast;
  std::uint64_t seed;
  double peopleHeight;
  double peopleHeightDeviation;
  double includeArea;
  Playback playback;
  std::vector<Block> scenery;
  Ghosts ghosts;
  std::vector<Channel> channels;
};

}  // namespace device

#endif
