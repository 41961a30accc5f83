#ifndef DEVICE_BRIDGE_REMOTE_HEAD_H
#define DEVICE_BRIDGE_REMOTE_HEAD_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "bridge/bridge_settings.h"
#include "bridge/camera_link.h"
#include "bridge/frame_clock.h"
#include "bridge/head_moves.h"
#include "bridge/head_sight.h"
#include "services/periodic_timer.h"
#include "services/served_head.h"

namespace device::bridge {

// A head that is reached by ONVIF. One command at a time is on its way, and one question for the
// status beside it, ten times a second as long as the answers come fast enough; what the metadata
// tell counts as well, whichever is newer. When the daemon has been silent for HeadMoves::SILENCE,
// or at the end, the head is stopped.
class RemoteHead : public ServedHead {
 public:
  static constexpr std::int64_t TICK = 10000;            // microseconds
  static constexpr std::int64_t STATUS_PERIOD = 100000;  // microseconds, at least

  RemoteHead(const HeadSettings& settings, const onvif::Login& login, Announce announce);
  ~RemoteHead() override;

  void command(const HeadCommand& command) override;
  void goHome(int speed) override;
  bool setPreset(int preset) override;
  bool goToPreset(int preset, int speed) override;
  std::map<int, HeadPosition> presets() override;
  std::optional<HeadStatus> toldStatus() override;
  HeadStatus presentStatus() override;
  int presetHere() override;
  CallDelay makeCallDelay() override { return {{}, 0}; }

  // What the daemon asks the head for, names without "root."; null as long as too little is known.
  const std::map<std::string, std::string>* parameters() const;

  // The zoom's position in the head's own numbers.
  struct Zoom {
    double position = 0;
    bool isInMillimetres = false;
  };

  // As its last status tells it; nothing where that tells none.
  std::optional<Zoom> zoomTold() const { return zoomNow; }

  // While it is held nothing is sent that moves the head or stops it: somebody else does.
  void hold(bool isHeldNow) { isHeld = isHeldNow; }

  // Stops the head after what is on its way to it, by speeds of zero where it has no Stop or
  // goes on, and waits for its answer and until it stands, for a second at most. Commands that come
  // meanwhile count for nothing.
  void stopForGood();

 private:
  struct Preset {
    std::string token;
    HeadPosition position;
  };

  // The last answers to what it can; nothing: none yet.
  struct Told {
    std::optional<onvif::SoapReply> nodes;
    std::optional<onvif::SoapReply> configurations;
    std::optional<onvif::SoapReply> options;
  };
  using Next = void (RemoteHead::*)();

  void found(const CameraFound& camera);
  void askFacts();
  void askFactsLater(const onvif::Failure& failure);
  void ask(onvif::Tag operation, std::optional<onvif::SoapReply> Told::*answer, Next next);
  void askConfigurations();
  void askOptions();
  void allAsked();
  HeadFacts factsTold() const;
  void presetsCame(const onvif::SoapReply& reply);
  void addPreset(const onvif::XmlElement& element);
  std::optional<Preset> presetOf(const onvif::XmlElement& element) const;
  void nowKnown();
  void tellParameters();
  bool isToBeStopped(std::int64_t now) const;
  std::int64_t takenAtLeast() const;
  void sendStopBeside();
  void step();
  void sendMove(std::int64_t now);
  void moveAnswered(const onvif::SoapReply& reply, bool hadTimeout);
  void tellNoTimeout(const std::string& what);
  void askStatus(std::int64_t now);
  void statusCame(const onvif::SoapReply& reply, std::int64_t asked);
  std::int64_t momentOf(const HeadReading& reading, const onvif::MetadataArrival& arrival);
  void metadataCame(const onvif::MetadataArrival& arrival);
  void measure(std::int64_t trip, std::int64_t now);
  void tell(std::string* last, const std::string& words);
  std::string service() const;
  onvif::Tag withProfile(const char* name) const;

  HeadSettings settings;
  Announce announce;
  std::string node;  // token
  Told told;
  int factsRound = 0;
  int refusals = 0;           // since it was found
  bool isAnyRefused = false;  // of this round
  std::string missingTold;
  std::optional<std::int64_t> factsDue;
  GrowingPause factsPause;
  HeadMap map;
  HeadMoves moves;
  HeadSight sight;
  FrameClock clock;  // of the head, by the status that is asked for
  std::int64_t lastPolled = 0;
  FrameClock streamClock;                     // of the head, by its metadata alone
  std::int64_t streamLateness = 0;            // as it was by the other one
  std::optional<std::int64_t> streamTime;     // that the metadata tell
  std::int64_t streamTimeBegun = 0;           // since when it is that
  std::optional<std::int64_t> streamCounted;  // when metadata were newer than the polls
  bool areFactsKnown = false;
  bool isHeld = false;
  bool isEnding = false;
  std::map<std::string, std::string> known;  // parameters()
  std::map<int, Preset> presetTable;
  bool isStatusAsked = false;
  std::int64_t statusDue = 0;
  std::optional<Zoom> zoomNow;
  GrowingPause statusPause;
  std::int64_t roundTrip = 0;  // microseconds, smoothed
  std::int64_t slownessTold = 0;
  std::string moveTrouble;  // as they were told last
  std::string statusTrouble;
  std::string factsTrouble;
  bool isCompromiseTold = false;
  bool isGuessTold = false;
  bool isNoTimeoutTold = false;
  CameraLink link;
  PeriodicTimer timer;
};

}  // namespace device::bridge

#endif
