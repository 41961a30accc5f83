#ifndef DEVICE_ONVIF_SERVER_FAULTY_SERVICES_H
#define DEVICE_ONVIF_SERVER_FAULTY_SERVICES_H

#include <glib.h>

#include <list>
#include <memory>
#include <string>

#include "base/glib_ptr.h"
#include "onvif_server/head_space.h"
#include "onvif_server/onvif_faults.h"
#include "onvif_server/operations.h"
#include "services/head_drive.h"

namespace device::onvif {

// Stands between the clients and services that do right, and does wrong what it is told to. In the
// main loop of its thread.
class FaultyServices {
 public:
  // Of a camera that believes to be in another network.
  static constexpr char FOREIGN_HOST[] = "192.0.2.10:80";
  static constexpr guint LATE = 500;  // milliseconds of a status

  // All outlive it.
  FaultyServices(const OnvifFaults& faults, HeadDrive& drive);
  FaultyServices(const FaultyServices&) = delete;
  FaultyServices& operator=(const FaultyServices&) = delete;

  // To be called when all operations are there.
  void cover(Operations& operations);

 private:
  using Serve = Operations::WaitingFunction;

  struct LateAnswer {
    FaultyServices* owner;
    Operations::Answer answer;
    Tag tag;
    Operations::Sent sent;
    GSourcePtr timer;
  };

  Serve covered(const XmlName& name, const Serve& serve);
  Serve head(const std::string& operation, const Serve& serve);
  void moveOn(const Request& request);
  void answerLater(const Operations::Answer& answer, Tag tag, Operations::Sent sent);
  static gboolean lateEnough(gpointer answer);

  const OnvifFaults& faults;
  HeadDrive& drive;
  HeadSpace spaces;
  std::list<LateAnswer> late;
};

}  // namespace device::onvif

#endif
