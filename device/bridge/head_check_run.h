#ifndef DEVICE_BRIDGE_HEAD_CHECK_RUN_H
#define DEVICE_BRIDGE_HEAD_CHECK_RUN_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "bridge/camera_survey.h"
#include "bridge/head_check.h"
#include "bridge/snapshot.h"
#include "onvif_client/camera_calls.h"
#include "services/periodic_timer.h"

namespace device::bridge {

// A head's check on its way to the head and back, in the main loop of its thread. Whoever else
// moves the head meanwhile spoils it.
class HeadCheckRun {
 public:
  static constexpr std::int64_t TICK = 10000;           // microseconds
  static constexpr std::int64_t STATUS_PERIOD = 40000;  // microseconds, at least

  // over is called once, later; the run may be destroyed after that only. Throws std::runtime_error
  // for what is no address.
  HeadCheckRun(const std::string& device, const onvif::Login& login,
               const CameraAbilities& abilities, const onvif::MediaProfile& profile,
               HeadCheck::Wishes wishes, std::function<void()> over);
  HeadCheckRun(const HeadCheckRun&) = delete;
  HeadCheckRun& operator=(const HeadCheckRun&) = delete;

  // A motion that is on its way ends with its Timeout.
  ~HeadCheckRun() = default;

  // The head is stopped first.
  void giveUp(const std::string& why) { check.giveUp(why); }

  // The same, and waits for two seconds at most until it stands.
  void stopForGood();

  const HeadCheck& getCheck() const { return check; }

 private:
  void step();
  void askPicture();
  void askStatus(std::int64_t now);
  void statusCame(const onvif::SoapReply& reply, std::int64_t asked);

  std::string device;
  onvif::Login login;
  CameraAbilities abilities;
  std::string service;
  std::string profile;
  HeadCheck check;
  std::function<void()> over;
  bool isTold = false;
  bool isStatusAsked = false;
  bool isPictureAsked = false;
  std::int64_t statusDue = 0;
  int silences = 0;                    // one after another
  std::unique_ptr<Snapshot> snapshot;  // the last one
  onvif::CameraCalls calls;
  PeriodicTimer timer;
};

}  // namespace device::bridge

#endif
