#include "onvif_client/metadata_document.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "onvif/namespaces.h"
#include "onvif/time_text.h"
#include "onvif_client/xml_number.h"

namespace device::onvif {
namespace {

// The picture ends at 1; a box may reach out of it, but not so far.
constexpr double MOST_NORMAL = 1.5;
constexpr std::size_t MOST_POINTS = 1024;  // of an outline

constexpr char EXI[] =
    "The camera compresses its metadata as EXI, which cannot be read here: switch the compression "
    "of the metadata off in the camera, or choose gzip";
constexpr char PIXELS[] =
    "The camera tells places in pixels without saying of how many: enter the width and height that "
    "its analytics see";

// From the coordinates of a document to those of the picture: number * scale + shift.
struct Transformation {
  SeenPoint scale{1, 1};
  SeenPoint shift{0, 0};

  SeenPoint operator()(const SeenPoint& point) const {
    return {point.x * scale.x + shift.x, point.y * scale.y + shift.y};
  }

  // This one after the other.
  Transformation after(const Transformation& inner) const {
    return {{scale.x * inner.scale.x, scale.y * inner.scale.y}, (*this)(inner.shift)};
  }
};

std::optional<SeenPoint> readPoint(const std::optional<XmlElement>& element) {
  const auto x = element ? numberOf(*element, "x") : std::nullopt;
  const auto y = element ? numberOf(*element, "y") : std::nullopt;
  return x && y ? std::optional(SeenPoint{*x, *y}) : std::nullopt;
}

std::optional<Transformation> readTransformation(const XmlElement& parent) {
  const auto element = parent.child(ns::SCHEMA, "Transformation");
  if (!element) {
    return std::nullopt;
  }
  Transformation result;
  result.scale = readPoint(element->child(ns::SCHEMA, "Scale")).value_or(result.scale);
  result.shift = readPoint(element->child(ns::SCHEMA, "Translate")).value_or(result.shift);
  return result;
}

// Twice the area, positive when it lies on the left hand.
double areaOf(const std::vector<SeenPoint>& points) {
  double sum = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const SeenPoint& next = points[(i + 1) % points.size()];
    sum += points[i].x * next.y - next.x * points[i].y;
  }
  return sum;
}

// Reads the objects of one frame.
class ObjectReader {
 public:
  ObjectReader(const XmlElement& frame, const PixelSize& pixels)
      : outer(readTransformation(frame)), pixels(pixels) {}

  SeenObject read(const XmlElement& element) const {
    SeenObject object;
    object.id = element.attribute("ObjectId").value_or(element.attribute("UUID").value_or(""));
    if (const auto appearance = element.child(ns::SCHEMA, "Appearance")) {
      readAppearance(*appearance, &object);
    }
    if (const auto behaviour = element.child(ns::SCHEMA, "Behaviour")) {
      object.isIdle = behaviour->child(ns::SCHEMA, "Idle").has_value();
      object.isRemoved = behaviour->child(ns::SCHEMA, "Removed").has_value();
    }
    return object;
  }

 private:
  void readAppearance(const XmlElement& appearance, SeenObject* object) const {
    if (const auto shape = appearance.child(ns::SCHEMA, "Shape")) {
      const auto inner = readTransformation(appearance);
      const auto whole = [&] {
        if (inner && outer) {
          return std::optional(outer->after(*inner));
        }
        return inner ? inner : outer;
      }();
      readShape(*shape, whole, object);
    }
    if (const auto kind = appearance.child(ns::SCHEMA, "Class")) {
      readClasses(*kind, &object->classes);
    }
  }

  void readShape(const XmlElement& shape, const std::optional<Transformation>& transformation,
                 SeenObject* object) const {
    for (const XmlElement& part : shape.children()) {
      if (part.is(ns::SCHEMA, "BoundingBox")) {
        object->box = readBox(part, transformation);
      } else if (part.is(ns::SCHEMA, "CenterOfGravity")) {
        if (const auto point = readPoint(part)) {
          object->centre = toPicture(*point, transformation);
        }
      } else if (part.is(ns::SCHEMA, "Polygon")) {
        takeLarger(readPolygon(part, transformation), &object->outline);
      }
    }
  }

  std::optional<SeenBox> readBox(const XmlElement& element,
                                 const std::optional<Transformation>& transformation) const {
    const auto left = numberOf(element, "left");
    const auto top = numberOf(element, "top");
    const auto right = numberOf(element, "right");
    const auto bottom = numberOf(element, "bottom");
    if (!left || !top || !right || !bottom) {
      return std::nullopt;
    }
    const SeenPoint one = toPicture({*left, *top}, transformation);
    const SeenPoint other = toPicture({*right, *bottom}, transformation);
    return SeenBox{std::min(one.x, other.x), std::min(one.y, other.y), std::max(one.x, other.x),
                   std::max(one.y, other.y)};
  }

  std::vector<SeenPoint> readPolygon(const XmlElement& polygon,
                                     const std::optional<Transformation>& transformation) const {
    std::vector<SeenPoint> points;
    for (const XmlElement& child : polygon.children()) {
      const auto point = child.is(ns::SCHEMA, "Point") ? readPoint(child) : std::nullopt;
      if (point && points.size() < MOST_POINTS) {
        points.push_back(toPicture(*point, transformation));
      }
    }
    return points;
  }

  static void takeLarger(std::vector<SeenPoint> points, std::vector<SeenPoint>* largest) {
    const double area = areaOf(points);
    if (points.size() < 3 || std::abs(area) <= std::abs(areaOf(*largest))) {
      return;
    }
    if (area < 0) {
      std::ranges::reverse(points);
    }
    *largest = std::move(points);
  }

  SeenPoint toPicture(const SeenPoint& point,
                      const std::optional<Transformation>& transformation) const {
    if (transformation) {
      return (*transformation)(point);
    }
    if (pixels.width > 0 && pixels.height > 0) {
      return {2 * point.x / pixels.width - 1, 1 - 2 * point.y / pixels.height};
    }
    if (std::abs(point.x) > MOST_NORMAL || std::abs(point.y) > MOST_NORMAL) {
      throw MetadataError(PIXELS);
    }
    return point;
  }

  static void readClasses(const XmlElement& element, std::vector<SeenClass>* classes) {
    for (const XmlElement& child : element.children()) {
      if (child.is(ns::SCHEMA, "Type")) {
        classes->push_back({child.text(), numberOf(child, "Likelihood").value_or(1)});
      } else if (child.is(ns::SCHEMA, "ClassCandidate") || child.is(ns::SCHEMA, "OtherTypes")) {
        classes->push_back(
            {textOf(child, "Type"), numberOf(textOf(child, "Likelihood")).value_or(1)});
      } else if (child.is(ns::SCHEMA, "Extension")) {
        readClasses(child, classes);
      }
    }
  }

  std::optional<Transformation> outer;
  PixelSize pixels;
};

std::optional<SeenAction> actionOf(const XmlElement& element) {
  const XmlName name = element.name();
  if (name.nameSpace != ns::SCHEMA) {
    return std::nullopt;
  }
  if (name.name == "Rename") {
    return SeenAction::rename;
  }
  if (name.name == "Split") {
    return SeenAction::split;
  }
  if (name.name == "Merge") {
    return SeenAction::merge;
  }
  return name.name == "Delete" ? std::optional(SeenAction::deletion) : std::nullopt;
}

std::string idOf(const XmlElement& element) {
  return element.attribute("ObjectId").value_or(element.attribute("UUID").value_or(""));
}

void addId(const XmlElement& element, std::vector<std::string>* ids) {
  if (std::string id = idOf(element); !id.empty()) {
    ids->push_back(std::move(id));
  }
}

// The vocabulary writes "from" and "to", its own examples "From" and "To".
std::optional<SeenChange> readChange(const XmlElement& element) {
  const auto action = actionOf(element);
  if (!action) {
    return std::nullopt;
  }
  SeenChange change{*action, {}, {}};
  if (action == SeenAction::deletion) {
    addId(element, &change.from);
  }
  for (const XmlElement& child : element.children()) {
    const XmlName whole = child.name();
    const std::string_view name = whole.name;
    if (name == "from" || name == "From") {
      addId(child, &change.from);
    } else if (name == "to" || name == "To") {
      addId(child, &change.to);
    }
  }
  return change;
}

SeenFrame readFrame(const XmlElement& element, const PixelSize& pixels, MetadataDocument* all) {
  SeenFrame frame;
  if (const auto time = element.attribute("UtcTime")) {
    frame.time = readDateTime(*time);
  }
  frame.source = element.attribute("Source").value_or("");
  const ObjectReader objects(element, pixels);
  for (const XmlElement& child : element.children()) {
    if (child.is(ns::SCHEMA, "Object")) {
      SeenObject object = objects.read(child);
      if (!object.id.empty()) {
        frame.objects.push_back(std::move(object));
      }
    } else if (child.is(ns::SCHEMA, "ObjectTree")) {
      for (const XmlElement& change : child.children()) {
        if (auto read = readChange(change)) {
          frame.changes.push_back(std::move(*read));
        }
      }
    } else if (child.is(ns::SCHEMA, "PTZStatus")) {
      all->head.push_back(readHeadReading(child));
    }
  }
  return frame;
}

bool isExi(std::string_view text) {
  return text.starts_with("$EXI") ||
         (!text.empty() && (static_cast<unsigned char>(text.front()) & 0xC0U) == 0x80U);
}

bool isMetadata(const XmlElement& root) {
  return root.is(ns::SCHEMA, "MetadataStream") || root.is(ns::SCHEMA, "MetaDataStream");
}

}  // namespace

MetadataDocument readMetadata(std::string_view text, const PixelSize& pixels) try {
  if (isExi(text)) {
    throw MetadataError(EXI);
  }
  const XmlDocument document(text);
  if (!isMetadata(document.root())) {
    throw MetadataError("What the camera sends as metadata is none");
  }
  MetadataDocument result;
  for (const XmlElement& part : document.root().children()) {
    for (const XmlElement& child : part.children()) {
      if (part.is(ns::SCHEMA, "VideoAnalytics") && child.is(ns::SCHEMA, "Frame")) {
        result.frames.push_back(readFrame(child, pixels, &result));
      } else if (part.is(ns::SCHEMA, "PTZ") && child.is(ns::SCHEMA, "PTZStatus")) {
        result.head.push_back(readHeadReading(child));
      }
    }
  }
  return result;
} catch (const XmlError& error) {
  throw MetadataError(std::string("The camera's metadata cannot be read: ") + error.what());
}

}  // namespace device::onvif
