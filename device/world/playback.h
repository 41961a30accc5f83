#ifndef DEVICE_WORLD_PLAYBACK_H
#define DEVICE_WORLD_PLAYBACK_H

#include <cstddef>
#include <vector>

#include "world/stage.h"
#include "world/tracks.h"

namespace device {

// Plays the people of a track set on a stage, from its first moment on, again and again.
//
// A recording is played in scenes, so that a head that follows busy places has its rests too: those
// who appear within SCENE_LENGTH of a scene's first person belong to it; when all of them have
// left, nobody is there for PAUSE, and the next scene begins in front of the next camera of the
// stage. A pause of that length in the recording itself ends a scene too and is kept as it is.
// Within a scene everybody walks as recorded. Without added rests only the recording's own pauses
// end a scene, and everybody appears when recorded.
class Playback {
 public:
  static constexpr double SCENE_LENGTH = 45;  // seconds
  static constexpr double PAUSE = 20;         // seconds

  enum class Rests { added, asRecorded };

  Playback(TrackSet recording, const Stage& stage, Rests rests = Rests::added);

  // Everybody there at a moment, in world coordinates. The first person appears at time 0. Each
  // round has ids of its own.
  std::vector<Person> at(double time) const;

  // The length of one round in seconds, the pause after it included; 0 without people.
  // Only for tests, both.
  double getLength() const { return length; }
  int getSceneCount() const { return sceneCount; }

 private:
  // One track in its place; in the order of appearance.
  struct Part {
    std::size_t track;
    double shift;  // from the recording's time to that of the round
    Placement placement;
  };

  TrackSet tracks;
  std::vector<Part> parts;
  double length = 0;
  int sceneCount = 0;
  int idStride = 1;
};

}  // namespace device

#endif
