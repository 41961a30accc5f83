// What a camera of others streams as metadata, in any packets, up to the frames that are made of
// it.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "bridge/frame_clock.h"
#include "bridge/scene_maker.h"
#include "fuzz/input.h"
#include "fuzz/require.h"
#include "onvif_client/metadata_document.h"
#include "onvif_client/metadata_joiner.h"

namespace {

using device::Frame;
using device::FrameAction;
using device::FrameEvent;
using device::FrameObject;
using device::FramePoint;
using fuzz::require;

constexpr std::int64_t MILLISECOND = 1000;
constexpr int LARGEST = 4096;  // of a scene's coordinates

// Whose numbers the application knows.
class Ledger {
 public:
  void check(const Frame& frame, std::int64_t arrival) {
    require(frame.timestamp <= arrival, "no frame is of the future");
    require(last < frame.timestamp, "time goes on");
    last = frame.timestamp;
    std::set<std::int32_t> here;
    for (const FrameObject& object : frame.objects) {
      checkObject(object);
      require(here.insert(object.id).second, "an object is in a frame once");
      know(object.id);
    }
    for (const FrameEvent& event : frame.events) {
      checkEvent(event);
    }
  }

 private:
  static void checkPoint(const FramePoint& point) {
    require(std::abs(point.x) <= LARGEST && std::abs(point.y) <= LARGEST,
            "points are in the picture");
  }

  static void checkObject(const FrameObject& object) {
    require(object.id > 0, "numbers count from 1");
    require(object.outline.size() >= 3, "an outline has an area");
    require(object.confidence == LARGEST, "a likelihood is no confidence");
    std::ranges::for_each(object.box, checkPoint);
    std::ranges::for_each(object.outline, checkPoint);
  }

  void checkEvent(const FrameEvent& event) {
    require(!event.from.empty(), "an event is of somebody");
    if (event.action == FrameAction::deletion) {
      for (const std::int32_t id : event.from) {
        require(alive.contains(id), "who is deleted was there");
        forget(id);
      }
      return;
    }
    require(!event.to.empty(), "a split has parts, a merge has absorbed somebody");
    if (event.action == FrameAction::split) {
      require(alive.contains(event.from.front()), "who splits was there");
      std::ranges::for_each(event.to, [&](std::int32_t id) { know(id); });
      return;
    }
    know(event.from.front());
    for (const std::int32_t id : event.to) {
      require(id != event.from.front(), "nobody absorbs himself");
      forget(id);
    }
  }

  void know(std::int32_t id) {
    require(!gone.contains(id), "a number is not given again");
    alive.insert(id);
  }

  void forget(std::int32_t id) {
    alive.erase(id);
    gone.insert(id);
  }

  std::int64_t last = INT64_MIN;
  std::set<std::int32_t> alive;
  std::set<std::int32_t> gone;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const device::onvif::PixelSize pixels =
      input.flag() ? device::onvif::PixelSize{1920, 1080} : device::onvif::PixelSize{};
  const bool isCut = input.flag();
  const std::int64_t pause = input.between(1, 200) * 10 * MILLISECOND;
  const std::uint8_t lostAt = input.byte();
  std::string text = input.text();
  device::onvif::MetadataJoiner joiner;
  device::bridge::FrameClock clock;
  device::bridge::SceneMaker scene;
  Ledger ledger;
  std::int64_t now = 0;
  std::uint16_t sequence = 0;
  while (!text.empty()) {
    const std::string document = text.substr(0, text.find('\0'));
    text.erase(0, document.size() + 1);
    now += pause;
    const std::size_t part = isCut ? 100 : std::max<std::size_t>(document.size(), 1);
    for (std::size_t at = 0; at < document.size(); at += part) {
      const bool isLast = at + part >= document.size();
      if (++sequence == lostAt) {
        continue;
      }
      for (const std::string& whole :
           joiner.take({document.substr(at, part), isLast, sequence}, now)) {
        try {
          for (const auto& seen : device::onvif::readMetadata(whole, pixels).frames) {
            now += MILLISECOND;
            ledger.check(scene.take(seen, clock.timeOf(seen.time, std::nullopt, now)), now);
          }
        } catch (const device::onvif::MetadataError& error) {
          require(*error.what() != '\0', "what is wrong is told");
        }
      }
    }
  }
  now += MILLISECOND;
  if (const auto frame = scene.lose(now)) {
    ledger.check(*frame, now);
  }
  return 0;
}
