// Following by prediction: any observations, status readings, failures and times, for any head.
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "following/axis_identification.h"
#include "following/framing.h"
#include "following/head_model.h"
#include "following/identities.h"
#include "following/pursuit.h"
#include "following/subject.h"
#include "fuzz/input.h"
#include "fuzz/require.h"

namespace {

using namespace following;
using fuzz::require;

constexpr int MOST_STEPS = 400;
constexpr int MOST_SEEN = 6;
constexpr int MOST_LEVELS = 6;
constexpr int MOST_SAMPLES = 48;  // so that a fit takes milliseconds
constexpr std::size_t CAPACITY = 8;

AxisModel axis(fuzz::Input& input) {
  AxisModel model;
  std::vector<SpeedLevel> levels;
  for (int i = input.between(0, MOST_LEVELS); i > 0; --i) {
    levels.push_back({input.between(0, 110), std::abs(input.real(500.0))});
  }
  if (!levels.empty()) {
    model.curve = SpeedCurve(levels, input.between(0, 20));
  }
  model.deadTime = std::abs(input.real(2.0));
  model.acceleration = std::abs(input.real(1000.0));
  if (input.flag()) {
    model.lowest = input.real(200.0);
  }
  if (input.flag()) {
    model.highest = input.real(200.0);
  }
  return model;
}

void checkAxis(int percent, const AxisModel& model) {
  require(std::abs(percent) <= SpeedCurve::FULL, "a command is within the head's limits",
          std::to_string(percent));
  require(percent % model.curve.step() == 0, "a command is one of the head's levels");
  require(percent == 0 || model.isPlausible(), "a head that cannot be is not moved");
}

void checkMotion(const AxisMotion& motion) {
  require(std::isfinite(motion.position) && std::isfinite(motion.velocity),
          "the head is somewhere");
}

class Session {
 public:
  explicit Session(fuzz::Input& input)
      : input(input),
        parameters{axis(input), axis(input),
                   input.flag() ? std::optional(input.real(1.0)) : std::nullopt},
        model(parameters),
        pursuit(parameters) {}

  void step() {
    switch (input.between(0, 7)) {
      case 0:
        now += input.word();
        break;
      case 1:
        now += static_cast<std::int64_t>(input.number());
        break;
      case 2:
        takePicture();
        break;
      case 3:
        model.read(time(), input.real(400.0), input.real(120.0));
        break;
      case 4:
        model.interrupted(now);
        break;
      case 5:
        pursuit.stop();
        isStarted = false;
        break;
      case 6:
        pursuit.start();
        isStarted = true;
        break;
      default:
        now += 50'000;
        control();
    }
    checkMotion(model.pan());
    checkMotion(model.tilt());
  }

 private:
  // Now and then one that lies.
  std::int64_t time() { return input.byte() < 240 ? now : input.longNumber(); }

  void takePicture() {
    std::vector<Identities::Seen> seen;
    for (int i = input.between(0, MOST_SEEN); i > 0; --i) {
      seen.push_back(
          {input.between(0, 12), {input.real(180.0), input.real(90.0), input.real(90.0)}});
    }
    const Viewpoint viewpoint{input.flag() ? 5.0 : input.real(30.0), input.real(2.0), 0.0, 805.5};
    identities.takePicture(now, input.between(0, 2), time(), viewpoint, seen);
    require(identities.people().size() <= CAPACITY, "no more people than there is room for");
    for (const Person& person : identities.people()) {
      require(
          person.filter.state().mean.allFinite() && person.filter.state().covariance.allFinite(),
          "everybody is somewhere");
      require(identities.find(person.identity) == &person, "everybody is found");
    }
  }

  void control() {
    identities.expire(now);
    std::vector<Member> members;
    for (const Person& person : identities.people()) {
      if (members.size() < 3) {
        members.push_back({&person.filter.state(), person.height.metres});
      }
    }
    model.read(now, input.real(180.0), input.real(90.0));
    const auto subject = predictSubject(members, pursuit.actsAt(now), 5.0);
    const double wide = lens.fieldAt(framing.asked());
    const auto command = pursuit.step(model, subject, wide);
    require(command.has_value() == isStarted, "there is no command after a stop");
    if (!command) {
      return;
    }
    checkAxis(command->pan, parameters.pan);
    checkAxis(command->tilt, parameters.tilt);
    require(*command == SpeedCommand{} || subject, "nobody is not followed");
    require(std::isfinite(pursuit.error()) && pursuit.error() >= 0.0, "an error is a number");
    if (input.byte() < 200) {
      pursuit.commanded(*command);
      model.commanded(now, *command);
    }
    if (subject) {
      framing.step(input.real(1.0), *subject, pursuit.error(), input.real(5.0));
    }
    require(framing.position() >= 0.0 && framing.position() <= 1.0, "a zoom is within its scale");
  }

  fuzz::Input& input;
  HeadParameters parameters;
  HeadModel model;
  Pursuit pursuit;
  Lens lens;
  Framing framing{lens};
  Identities identities{CAPACITY};
  bool isStarted = false;
  std::int64_t now = 1'000'000'000;
};

void checkIdentification(fuzz::Input& input) {
  AxisRecord record;
  std::int64_t now = 0;
  if (input.flag()) {
    record.beginStaircase(input.number());
  }
  for (int i = 0; i < MOST_SAMPLES && !input.isEmpty(); ++i) {
    now += input.byte() < 250 ? input.byte() * 2'000 : input.longNumber() % 1'000'000'000;
    if (input.byte() < 60) {
      record.addCommand(now, input.between(0, 202) - 101);
    }
    record.addStatus(now, input.real(180.0));
  }
  const AxisIdentification found = identify(record);
  require(!found.isBelieved() || found.model.isPlausible(), "what is believed is a head");
  require(!found.isBelieved() || std::isfinite(found.misfit), "and fits");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  if (input.byte() < 16) {
    checkIdentification(input);
    return 0;
  }
  Session session(input);
  for (int i = 0; i < MOST_STEPS && !input.isEmpty(); ++i) {
    session.step();
  }
  return 0;
}
