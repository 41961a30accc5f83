#include "onvif_server/faulty_services.h"

#include <limits>
#include <utility>

#include "onvif/fault.h"
#include "onvif/namespaces.h"
#include "onvif/ptz_space.h"

namespace device::onvif {

FaultyServices::FaultyServices(const OnvifFaults& faults, HeadDrive& drive)
    : faults(faults), drive(drive), spaces(drive.getHead().getSetup()) {}

void FaultyServices::cover(Operations& operations) {
  operations.cover(
      [this](const XmlName& name, const Serve& serve) { return covered(name, serve); });
}

FaultyServices::Serve FaultyServices::covered(const XmlName& name, const Serve& serve) {
  const Serve inner = name.nameSpace == ns::PTZ ? head(name.name, serve) : serve;
  return [this, inner](const Request& request, const Operations::Answer& answer) {
    Request told = request;
    if (faults.ofCamera("foreign-addresses")) {
      told.host = FOREIGN_HOST;
    }
    inner(told, answer);
  };
}

FaultyServices::Serve FaultyServices::head(const std::string& operation, const Serve& serve) {
  if (operation == "Stop") {
    return [this, serve](const Request& request, const Operations::Answer& answer) {
      if (faults.ofHead("no-stop")) {
        throw Fault(FaultCode::receiver, {"ter:ActionNotSupported"}, "There is no operation Stop");
      }
      serve(request, answer);
    };
  }
  if (operation == "ContinuousMove") {
    return [this, serve](const Request& request, const Operations::Answer& answer) {
      serve(request, answer);
      if (faults.ofHead("ignores-timeout")) {
        moveOn(request);
      }
    };
  }
  if (operation == "GetStatus") {
    return [this, serve](const Request& request, const Operations::Answer& answer) {
      Operations::Answer told = answer;
      if (faults.ofHead("late-status")) {
        told.send = [this, answer](Tag tag, Operations::Sent sent) {
          answerLater(answer, std::move(tag), std::move(sent));
        };
      }
      serve(request, told);
    };
  }
  return serve;
}

// The same speeds again, for good.
void FaultyServices::moveOn(const Request& request) {
  const auto velocity = request.body.child(ns::PTZ, "Velocity");
  HeadCommand command = spaces.velocity(readPtzVector(*velocity));
  command.hold = std::numeric_limits<double>::infinity();
  drive.getHead().command(command);
}

void FaultyServices::answerLater(const Operations::Answer& answer, Tag tag, Operations::Sent sent) {
  LateAnswer& waiting =
      late.emplace_back(LateAnswer{this, answer, std::move(tag), std::move(sent), nullptr});
  waiting.timer = startTimer(LATE, lateEnough, &waiting);
}

gboolean FaultyServices::lateEnough(gpointer data) {
  auto* waiting = static_cast<LateAnswer*>(data);
  if (waiting->answer.isAwaited()) {
    waiting->answer.send(std::move(waiting->tag), std::move(waiting->sent));
  }
  waiting->owner->late.remove_if([&](const LateAnswer& one) { return &one == waiting; });
  return G_SOURCE_REMOVE;
}

}  // namespace device::onvif
