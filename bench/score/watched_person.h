#ifndef SCORE_WATCHED_PERSON_H
#define SCORE_WATCHED_PERSON_H

#include <map>
#include <string>
#include <vector>

#include "score/simulation.h"

namespace score {

// Gives the daemon an area for one person alone: a small one, in each camera's picture, around the
// middle of the body and where that is about to go. It moves along twice a second, each time just
// before a frame is handed over, so that no step of the tracker falls in between. Whoever else
// walks through it is seen and followed, too, as in any area.
class WatchedPerson {
 public:
  // configuration: a document whose profiles are taken over with this area in the place of theirs.
  // The simulation's onFrame is used.
  WatchedPerson(Simulation& simulation, const std::string& configuration, int person);

 private:
  void moveArea(int channel, double time);
  std::vector<device::PicturePoint> wayInPicture(int channel, double time) const;
  std::string documentWith(const std::vector<device::PicturePoint>& way) const;

  Simulation& simulation;
  std::string configuration;
  int person;
  std::map<int, double> movedAt;  // by channel, seconds
};

}  // namespace score

#endif
