#ifndef PTZ_PTZ_HEAD_H
#define PTZ_PTZ_HEAD_H

#include <ptztolva.h>

#include <cstdint>
#include <optional>

// What the head says of itself.
struct PtzHeadStatus {
  double pan = 0.0;       // degrees
  double tilt = 0.0;      // degrees
  std::int32_t zoom = 0;  // on the head's scale
  bool isMoving = false;  // any axis
};

struct HeadCommand;

// The PTZ head as the device's library moves it. Failures are logged. Any thread: the library
// serialises its calls.
class PtzHead {
 public:
  // How a command drives an axis.
  enum Kind : int {
    NOT_DRIVEN = PTZTOLVA_MOVE_NONE,
    ABSOLUTE = PTZTOLVA_MOVE_ABSOLUTE,
    CONTINUOUS = PTZTOLVA_MOVE_CONTINUOUS
  };

  // Prepares the library, once; false while the PTZ service cannot be reached.
  bool initialize();

  // Releases the library.
  void cleanup();

  // Values are degrees for positions, percent of full speed for speeds; zoom is on the head's scale
  // or percent.
  // False, logged, when the command did not get through.
  bool ptzMove(double panValue, Kind panKind, double tiltValue, Kind tiltKind, int zoom,
               Kind zoomKind);
  bool ptzMove(const HeadCommand& command);

  // Stops all axes. False, logged, when the stop did not get through.
  bool ptzStop();

  void gotoHome();

  // Nothing, logged, when the head does not answer.
  std::optional<PtzHeadStatus> getStatus();

 private:
  bool isInitialized = false;
};

// What one move tells the head; without more, that all axes stand.
struct HeadCommand {
  double panValue = 0.0;
  PtzHead::Kind panKind = PtzHead::CONTINUOUS;
  double tiltValue = 0.0;
  PtzHead::Kind tiltKind = PtzHead::CONTINUOUS;
  int zoom = 0;
  PtzHead::Kind zoomKind = PtzHead::CONTINUOUS;
};

#endif
