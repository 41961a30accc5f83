#include "onvif_server/metadata.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "onvif/time_text.h"

namespace device::onvif {
namespace {

constexpr double UNIT = 4096;  // of the scene's coordinates
constexpr int DECIMALS = 10000;

// Four decimals, a tenth of a pixel.
double rounded(double value) {
  return std::round(value * DECIMALS) / DECIMALS;
}

// Writes the places of one camera's picture.
class PlaceWriter {
 public:
  PlaceWriter(const OverviewCamera& camera, PlaceCoordinates coordinates)
      : camera(camera), coordinates(coordinates) {}

  bool isDownwards() const { return coordinates != PlaceCoordinates::normal; }

  template <typename Points>
  std::vector<PicturePoint> written(const Points& points) const {
    std::vector<PicturePoint> result;
    for (const FramePoint& point : points) {
      const PicturePoint seen = camera.toUpright({point.x / UNIT, point.y / UNIT});
      const PicturePoint told = isDownwards() ? toPixels(seen) : seen;
      result.push_back({rounded(told.x), rounded(told.y)});
    }
    return result;
  }

  // To normal coordinates.
  std::optional<Tag> transformation() const {
    if (coordinates != PlaceCoordinates::transformedPixels) {
      return std::nullopt;
    }
    return Tag("tt:Transformation", Tag("tt:Translate", Attribute("x", -1.0), Attribute("y", 1.0)),
               Tag("tt:Scale", Attribute("x", 2.0 / camera.pictureWidth()),
                   Attribute("y", -2.0 / camera.pictureHeight())));
  }

 private:
  PicturePoint toPixels(const PicturePoint& point) const {
    return {(point.x + 1) / 2 * camera.pictureWidth(), (1 - point.y) / 2 * camera.pictureHeight()};
  }

  const OverviewCamera& camera;
  PlaceCoordinates coordinates;
};

Tag boxTag(const std::vector<PicturePoint>& corners, bool isDownwards) {
  const auto [left, right] = std::ranges::minmax(corners, {}, &PicturePoint::x);
  auto [bottom, top] = std::ranges::minmax(corners, {}, &PicturePoint::y);
  if (isDownwards) {
    std::swap(bottom, top);
  }
  return Tag("tt:BoundingBox", Attribute("left", left.x), Attribute("top", top.y),
             Attribute("right", right.x), Attribute("bottom", bottom.y));
}

Tag pointTag(const std::string& name, const PicturePoint& point) {
  return Tag(name, Attribute("x", point.x), Attribute("y", point.y));
}

Tag centreTag(const std::vector<PicturePoint>& points) {
  PicturePoint sum;
  for (const PicturePoint& point : points) {
    sum.x += point.x;
    sum.y += point.y;
  }
  const auto count = static_cast<double>(points.size());
  return pointTag("tt:CenterOfGravity", {rounded(sum.x / count), rounded(sum.y / count)});
}

Tag objectTag(const FrameObject& object, const PlaceWriter& places) {
  const std::vector<PicturePoint> corners = places.written(object.box);
  const std::vector<PicturePoint> outline = places.written(object.outline);
  Tag shape("tt:Shape", boxTag(corners, places.isDownwards()),
            centreTag(outline.empty() ? corners : outline));
  if (outline.size() >= 3) {
    Tag polygon("tt:Polygon");
    for (const PicturePoint& point : outline) {
      polygon.add(pointTag("tt:Point", point));
    }
    shape.add(std::move(polygon));
  }
  const double likelihood = rounded(object.confidence / UNIT);
  return Tag("tt:Object", Attribute("ObjectId", object.id),
             Tag("tt:Appearance", std::move(shape),
                 Tag("tt:Class", Tag("tt:Type", Attribute("Likelihood", likelihood), "Human"))));
}

void addObjects(Tag* tag, const std::string& name, const std::vector<std::int32_t>& ids) {
  for (const std::int32_t id : ids) {
    tag->add(Tag(name, Attribute("ObjectId", id)));
  }
}

// A split has two parts at least: where one leaves, the source is the other.
Tag splitTag(const FrameEvent& event) {
  Tag tag("tt:Split");
  addObjects(&tag, "tt:from", event.from);
  addObjects(&tag, "tt:to", event.to);
  if (event.to.size() < 2) {
    addObjects(&tag, "tt:to", event.from);
  }
  return tag;
}

Tag mergeTag(const FrameEvent& event) {
  Tag tag("tt:Merge");
  addObjects(&tag, "tt:from", event.from);
  addObjects(&tag, "tt:from", event.to);
  addObjects(&tag, "tt:to", event.from);
  return tag;
}

// The vocabulary has new names first, splits before merges, and deletions last.
Tag treeTag(const std::vector<FrameEvent>& events, const ReportManner& manner) {
  Tag tree("tt:ObjectTree");
  for (const auto& [from, to] : manner.renames) {
    tree.add(Tag("tt:Rename", Tag("tt:from", Attribute("ObjectId", from)),
                 Tag("tt:to", Attribute("ObjectId", to))));
  }
  for (const FrameAction action : {FrameAction::split, FrameAction::merge, FrameAction::deletion}) {
    for (const FrameEvent& event : events) {
      if (event.action != action) {
        continue;
      }
      if (action == FrameAction::deletion) {
        addObjects(&tree, "tt:Delete", event.from);
      } else {
        tree.add(action == FrameAction::split ? splitTag(event) : mergeTag(event));
      }
    }
  }
  return tree;
}

std::string documentOf(Tag content) {
  return Tag("tt:MetadataStream", std::move(content)).document();
}

}  // namespace

std::string analyticsDocument(const Frame& frame, const OverviewCamera& camera, std::int64_t time,
                              const ReportManner& manner) {
  const PlaceWriter places(camera, manner.coordinates);
  Tag tag("tt:Frame", Attribute("UtcTime", dateTimeText(time)), places.transformation());
  for (const FrameObject& object : frame.objects) {
    tag.add(objectTag(object, places));
  }
  if (!frame.events.empty() || !manner.renames.empty()) {
    tag.add(treeTag(frame.events, manner));
  }
  return documentOf(Tag("tt:VideoAnalytics", std::move(tag)));
}

std::string eventDocument(const std::vector<Notification>& notifications) {
  Tag events("tt:Event");
  for (const Notification& notification : notifications) {
    events.add(notificationTag(notification));
  }
  return documentOf(std::move(events));
}

std::string ptzDocument(Tag status) {
  return documentOf(Tag("tt:PTZ", std::move(status)));
}

}  // namespace device::onvif
