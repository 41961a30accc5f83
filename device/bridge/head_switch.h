#ifndef DEVICE_BRIDGE_HEAD_SWITCH_H
#define DEVICE_BRIDGE_HEAD_SWITCH_H

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "bridge/remote_head.h"
#include "services/served_head.h"

namespace device::bridge {

// The head that the application and the page have, whichever it is at the moment: none before it is
// set up, another one when the settings change. While somebody checks the head, commands for it are
// dropped.
class HeadSwitch : public ServedHead {
 public:
  // The one before is stopped. Null for none.
  void set(std::unique_ptr<RemoteHead> next);

  RemoteHead* get() { return head.get(); }
  bool isHeld() const { return held; }

  // Stops it first.
  void hold(bool isHeldNow);

  void stopForGood();

  // Null as long as too little is known.
  const std::map<std::string, std::string>* parameters() const;

  // As RemoteHead; nothing without a head.
  std::optional<RemoteHead::Zoom> zoomTold() const;

  void command(const HeadCommand& command) override;
  void goHome(int speed) override;
  bool setPreset(int preset) override;
  bool goToPreset(int preset, int speed) override;
  std::map<int, HeadPosition> presets() override;
  std::optional<HeadStatus> toldStatus() override;
  HeadStatus presentStatus() override;
  int presetHere() override;
  CallDelay makeCallDelay() override { return {{}, 0}; }

 private:
  bool isFree() const { return head && !held; }

  std::unique_ptr<RemoteHead> head;
  bool held = false;
};

}  // namespace device::bridge

#endif
