// Documents of a metadata stream: whatever the virtual device tells, a receiver reads as it was
// meant, and whatever a receiver gets, it survives.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/metadata_reader.h"
#include "fuzz/require.h"
#include "onvif/namespaces.h"
#include "onvif/xml.h"
#include "onvif_server/metadata.h"

namespace {

using namespace device;  // NOLINT: this file is the device's own
using fuzz::Input;
using fuzz::require;

constexpr double ROUNDING = 0.51e-4;  // of four decimals

bool isNear(double one, double other) {
  return std::abs(one - other) < ROUNDING;
}

bool isNear(const PicturePoint& one, const PicturePoint& other) {
  return isNear(one.x, other.x) && isNear(one.y, other.y);
}

FramePoint pointFrom(Input& input) {
  return {std::clamp<std::int32_t>(input.word(), -4096, 4096),
          std::clamp<std::int32_t>(input.word(), -4096, 4096)};
}

FrameObject objectFrom(Input& input) {
  FrameObject object;
  object.id = input.number();
  for (FramePoint& corner : object.box) {
    corner = pointFrom(input);
  }
  const int vertices = input.between(0, 24);
  for (int i = 0; i < vertices; ++i) {
    object.outline.push_back(pointFrom(input));
  }
  object.confidence = std::clamp<std::int32_t>(input.word(), 0, 4096);
  return object;
}

std::vector<std::int32_t> idsFrom(Input& input) {
  std::vector<std::int32_t> ids;
  const int count = input.between(1, 4);
  for (int i = 0; i < count; ++i) {
    ids.push_back(input.number());
  }
  return ids;
}

Frame frameFrom(Input& input) {
  Frame frame;
  const int objects = input.between(0, 5);
  for (int i = 0; i < objects; ++i) {
    frame.objects.push_back(objectFrom(input));
  }
  const int events = input.between(0, 5);
  for (int i = 0; i < events; ++i) {
    const auto action = static_cast<FrameAction>(input.between(0, 2));
    frame.events.push_back({action, idsFrom(input), idsFrom(input)});
  }
  return frame;
}

// As a receiver turns what comes of a sensor that lies so.
PicturePoint turned(const FramePoint& point, int rotation) {
  const double x = point.x / 4096.0;
  const double y = point.y / 4096.0;
  switch (rotation) {
    case 90:
      return {y, -x};
    case 180:
      return {-x, -y};
    case 270:
      return {-y, x};
    default:
      return {x, y};
  }
}

template <typename Points>
std::vector<PicturePoint> turnedAll(const Points& points, int rotation) {
  std::vector<PicturePoint> result;
  for (const FramePoint& point : points) {
    result.push_back(turned(point, rotation));
  }
  return result;
}

PicturePoint meanOf(const std::vector<PicturePoint>& points) {
  PicturePoint sum;
  for (const PicturePoint& point : points) {
    sum.x += point.x / static_cast<double>(points.size());
    sum.y += point.y / static_cast<double>(points.size());
  }
  return sum;
}

void checkObject(const FrameObject& object, const fuzz::ToldObject& told, int rotation) {
  require(told.id == object.id, "an object has its id");
  const auto corners = turnedAll(object.box, rotation);
  const auto [left, right] = std::ranges::minmax(corners, {}, &PicturePoint::x);
  const auto [bottom, top] = std::ranges::minmax(corners, {}, &PicturePoint::y);
  require(isNear(told.low, {left.x, bottom.y}) && isNear(told.high, {right.x, top.y}),
          "a box is the smallest upright one around its corners");
  const auto outline = turnedAll(object.outline, rotation);
  const bool hasOutline = outline.size() >= 3;
  require(told.outline.size() == (hasOutline ? outline.size() : 0), "an outline has its vertices");
  for (std::size_t i = 0; i < told.outline.size(); ++i) {
    require(isNear(told.outline[i], outline[i]), "a vertex is where it is");
  }
  const PicturePoint centre = meanOf(outline.empty() ? corners : outline);
  // A mean of what was rounded, and rounded once more.
  require(std::abs(told.centre.x - centre.x) < 2 * ROUNDING &&
              std::abs(told.centre.y - centre.y) < 2 * ROUNDING,
          "a centre is the mean");
  require(told.kind == "Human" && isNear(told.likelihood, object.confidence / 4096.0),
          "a class is as sure as the analytics are");
}

std::vector<std::int64_t> wide(const std::vector<std::int32_t>& ids) {
  return {ids.begin(), ids.end()};
}

void checkChanges(const Frame& frame, const fuzz::ToldFrame& told) {
  std::vector<std::int64_t> deletions;
  std::size_t splits = 0;
  std::size_t merges = 0;
  for (const FrameEvent& event : frame.events) {
    if (event.action == FrameAction::deletion) {
      std::ranges::copy(event.from, std::back_inserter(deletions));
    } else if (event.action == FrameAction::split) {
      require(splits < told.splits.size(), "every split is told");
      const fuzz::ToldChange& split = told.splits[splits++];
      std::vector<std::int64_t> parts = wide(event.to);
      if (parts.size() < 2) {
        std::ranges::copy(event.from, std::back_inserter(parts));
      }
      require(split.from == wide(event.from) && split.to == parts,
              "a split has its source and two parts at least");
    } else {
      require(merges < told.merges.size(), "every merge is told");
      const fuzz::ToldChange& merge = told.merges[merges++];
      std::vector<std::int64_t> merged = wide(event.from);
      std::ranges::copy(event.to, std::back_inserter(merged));
      require(merge.from == merged && merge.to == wide(event.from),
              "a merge is of all that were, into the one that remains");
    }
  }
  require(told.deletions == deletions, "deletions are those of the frame");
  require(splits == told.splits.size() && merges == told.merges.size(), "nothing else is told");
}

void checkFrame(Input& input) {
  constexpr std::int64_t YEAR_2100 = 4102444800000000;  // microseconds since 1970
  const int rotation = 90 * input.between(0, 3);
  const auto time =
      static_cast<std::int64_t>(static_cast<std::uint64_t>(input.longNumber()) % YEAR_2100);
  const Frame frame = frameFrom(input);
  const OverviewCamera camera(
      {.position = {0, 0, 5}, .horizontalFov = 60, .rotation = rotation, .distortion = {}});
  const fuzz::ToldMetadata told = fuzz::readMetadata(onvif::analyticsDocument(frame, camera, time));
  require(told.frames.size() == 1, "a document has one frame");
  const fuzz::ToldFrame& read = told.frames.front();
  require(read.time && std::abs(*read.time - time) <= 1000, "a time is exact to a millisecond");
  require(read.objects.size() == frame.objects.size(), "every object is told");
  for (std::size_t i = 0; i < read.objects.size(); ++i) {
    checkObject(frame.objects[i], read.objects[i], rotation);
  }
  checkChanges(frame, read);
}

// Nothing that XML cannot hold: the writer leaves that out.
std::string wordFrom(Input& input) {
  constexpr std::string_view CHARACTERS = "abcXYZ019_-<>&\"'/ =";
  std::string word(1, 'w');
  const int length = input.between(0, 8);
  for (int i = 0; i < length; ++i) {
    word += CHARACTERS[input.byte() % CHARACTERS.size()];
  }
  return word;
}

void checkEvent(Input& input) {
  const onvif::Notification notification{
      .topic = {onvif::ns::TOPICS, {"VideoSource", "MotionAlarm"}},
      .source = {{"Source", wordFrom(input)}},
      .data = {{wordFrom(input), wordFrom(input)}},
      .operation = onvif::PropertyOperation::deleted,
      .time = 0};
  const fuzz::ToldMetadata told = fuzz::readMetadata(onvif::eventDocument({notification}));
  require(told.events.size() == 1 && told.frames.empty(), "a document has one event");
  const fuzz::ToldEvent& event = told.events.front();
  require(event.topic == "tns1:VideoSource/MotionAlarm", "an event has its topic");
  require(event.operation == "Deleted", "an event says what it tells of its property");
  const auto& [source, data] = std::pair(notification.source[0], notification.data[0]);
  require(
      event.items == std::vector<std::pair<std::string, std::string>>{{source.name, source.value},
                                                                      {data.name, data.value}},
      "an event has its items, whatever stands in them");
}

void checkNumbers(const fuzz::ToldMetadata& told) {
  for (const fuzz::ToldFrame& frame : told.frames) {
    for (const fuzz::ToldObject& object : frame.objects) {
      require(std::isfinite(object.low.x) && std::isfinite(object.likelihood),
              "what is read is finite");
    }
  }
}

void checkStranger(Input& input) {
  try {
    checkNumbers(fuzz::readMetadata(input.text()));
  } catch (const onvif::XmlError&) {
    // It was no document.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  constexpr std::array<void (*)(Input&), 3> CHECKS = {checkStranger, checkFrame, checkEvent};
  CHECKS[static_cast<std::size_t>(input.between(0, 2))](input);
  return 0;
}
