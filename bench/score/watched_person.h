#ifndef SCORE_WATCHED_PERSON_H
#define SCORE_WATCHED_PERSON_H

#include <map>
#include <optional>
#include <string>

#include "base/json_auto_ptr.h"
#include "score/simulation.h"

namespace score {

// Gives the daemon an area for one person alone: in each camera's picture a small one around the
// middle of the body, which moves along with every frame, just before it is handed over, so that no
// step of the tracker falls in between. Whoever is seen in front of it or behind it is followed,
// too, as in any area.
class WatchedPerson {
 public:
  // configuration: a document whose profiles are taken over with this area in the place of theirs.
  // The simulation's onFrame is used.
  WatchedPerson(Simulation& simulation, const std::string& configuration, int person);

 private:
  void moveArea(int channel, double time);
  std::optional<device::PicturePoint> placeInPicture(int channel, double time) const;
  std::string documentWith(int channel, const device::PicturePoint& place) const;

  Simulation& simulation;
  const JsonAutoPtr configuration;
  int person;
  std::map<int, double> pictures;  // the latest of each channel, seconds
};

}  // namespace score

#endif
