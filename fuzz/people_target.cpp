// Following by prediction as it is wired: any objects of any cameras, handed over or not, any
// status readings, optics, failures and stops.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/require.h"
#include "tracker/people.h"
#include "tracker/predictive_following.h"

namespace {

using fuzz::require;

constexpr int MOST_STEPS = 300;
constexpr int MOST_SEEN = 8;
constexpr std::int64_t TICK = 50'000;

following::HeadParameters headOf(fuzz::Input& input) {
  following::HeadParameters head;
  head.pan.deadTime = std::abs(input.real(1.0));
  head.tilt.deadTime = head.pan.deadTime;
  head.pan.acceleration = std::abs(input.real(900.0));
  if (input.flag()) {
    head.tilt.lowest = -90.0;
    head.tilt.highest = 20.0;
  }
  if (input.flag()) {
    head.statusAge = input.real(1.0);
  }
  return head;
}

class Session : public Selection {
 public:
  explicit Session(fuzz::Input& input) : input(input) { way.setHead(headOf(input)); }

  void step() {
    switch (input.between(0, 9)) {
      case 0:
        now += std::abs(static_cast<std::int64_t>(input.word())) * 100;
        break;
      case 1:
        way.forget();
        isForgotten = true;
        break;
      case 2:
        optics.zoomScale.minFieldAngle = input.real(90.0);
        optics.zoomScale.maxFieldAngle = input.real(90.0);
        optics.aspectRatio = input.real(3.0);
        break;
      case 3:
        people.selection().setMaxObjectSize(
            {std::abs(input.real(90.0)), std::abs(input.real(60.0))});
        break;
      case 4:
      case 5:
      case 6:
        takePicture();
        break;
      default:
        now += TICK;
        control();
    }
  }

 private:
  // Now and then one that lies.
  std::int64_t time() { return input.byte() < 240 ? now : input.longNumber(); }

  People::Seen object() {
    People::Seen seen;
    seen.id = input.between(0, 12);
    seen.box.sighting = {input.real(180.0), input.real(90.0), input.real(90.0)};
    seen.box.pan = input.flag() ? seen.box.sighting.pan : input.real(180.0);
    seen.box.tilt = input.real(90.0);
    seen.box.width = input.real(40.0);
    seen.box.height = input.real(40.0);
    seen.box.isFootCut = input.byte() < 40;
    seen.box.isHeadCut = input.byte() < 40;
    seen.isSure = input.byte() < 200;
    return seen;
  }

  void takePicture() {
    const std::int32_t channel = input.between(0, 2);
    const std::int64_t taken = time();
    std::vector<People::Seen> seen;
    for (int i = input.between(0, MOST_SEEN); i > 0; --i) {
      seen.push_back(object());
    }
    people.see(now, channel, taken, input.flag() ? 805.5 : input.real(1000.0), seen);
    for (const People::Seen& each : seen) {
      if (input.byte() < 180) {
        people.want(channel, each.id, input.between(1, 3), taken);
      }
    }
  }

  void control() {
    status.pan = input.byte() < 200 ? status.pan : input.real(400.0);
    status.tilt = input.byte() < 200 ? status.tilt : input.real(120.0);
    status.zoom = input.number();
    isChosen = false;
    const auto command = way.step(status, optics, *this, now);
    require(!command || isChosen || !isForgotten,
            "after a stop nothing is commanded until there is somebody");
    isForgotten = isForgotten && !isChosen;
    if (!command) {
      return;
    }
    checkCommand(*command);
    if (input.byte() < 220) {
      way.taken(*command, now);
    }
    require(std::isfinite(way.misfit()), "the misfit is a number");
  }

  void checkCommand(const HeadCommand& command) const {
    // What is not a number is not within either.
    const auto isPercent = [](double speed) { return std::abs(speed) <= 100.0; };
    require(isPercent(command.panValue) && isPercent(command.tiltValue),
            "speeds are within the head's limits",
            std::to_string(command.panValue) + " " + std::to_string(command.tiltValue));
    const auto [low, high] = std::minmax(optics.zoomScale.minZoom, optics.zoomScale.maxZoom);
    require(
        command.zoomKind == PtzHead::NOT_DRIVEN || (command.zoom >= low && command.zoom <= high),
        "a zoom is on the head's scale", std::to_string(command.zoom));
  }

  std::optional<Target> selectTarget(double, double) override { return std::nullopt; }
  std::optional<FollowedSubject> selectSubject(double pan, double tilt, std::int64_t moment,
                                               std::int64_t at) override {
    const auto chosen = people.choose(pan, tilt, moment, at);
    isChosen = chosen.has_value();
    if (chosen) {
      require(std::isfinite(chosen->subject.pan) && std::isfinite(chosen->subject.tilt) &&
                  std::isfinite(chosen->subject.panRate) && std::isfinite(chosen->subject.tiltRate),
              "who is followed is somewhere");
    }
    return chosen;
  }

  fuzz::Input& input;
  People people{Installation()};
  PredictiveFollowing way;
  HeadOptics optics;
  PtzHeadStatus status;
  bool isChosen = false;     // in the step at hand
  bool isForgotten = false;  // and nobody chosen since
  std::int64_t now = 1'000'000'000;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  Session session(input);
  for (int i = 0; i < MOST_STEPS && !input.isEmpty(); ++i) {
    session.step();
  }
  return 0;
}
