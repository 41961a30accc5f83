#include "fuzz/metadata_reader.h"

#include <cmath>
#include <string_view>
#include <utility>

#include "base/text.h"
#include "onvif/namespaces.h"
#include "onvif/time_text.h"
#include "onvif/xml.h"

namespace fuzz {
namespace {

using device::PicturePoint;
using device::onvif::XmlElement;
namespace ns = device::onvif::ns;

template <typename Visit>
void each(const XmlElement& element, std::string_view nameSpace, std::string_view name,
          const Visit& visit) {
  for (const XmlElement& child : element.children()) {
    if (child.is(nameSpace, name)) {
      visit(child);
    }
  }
}

template <typename Visit>
void each(const XmlElement& element, std::string_view name, const Visit& visit) {
  each(element, ns::SCHEMA, name, visit);
}

double real(const XmlElement& element, const std::string& name, double usual = 0) {
  const auto value = text::toNumber<double>(element.attribute(name).value_or(""));
  return value && std::isfinite(*value) ? *value : usual;
}

std::optional<std::int64_t> idOf(const XmlElement& element) {
  return text::toNumber<std::int64_t>(element.attribute("ObjectId").value_or(""));
}

std::vector<std::int64_t> idsOf(const XmlElement& element, std::string_view name) {
  std::vector<std::int64_t> ids;
  each(element, name, [&](const XmlElement& child) {
    if (const auto id = idOf(child)) {
      ids.push_back(*id);
    }
  });
  return ids;
}

PicturePoint pointOf(const XmlElement& element) {
  return {real(element, "x"), real(element, "y")};
}

void readShape(const XmlElement& shape, ToldObject* object) {
  each(shape, "BoundingBox", [&](const XmlElement& box) {
    object->low = {real(box, "left"), real(box, "bottom")};
    object->high = {real(box, "right"), real(box, "top")};
  });
  each(shape, "CenterOfGravity",
       [&](const XmlElement& centre) { object->centre = pointOf(centre); });
  each(shape, "Polygon", [&](const XmlElement& polygon) {
    each(polygon, "Point",
         [&](const XmlElement& point) { object->outline.push_back(pointOf(point)); });
  });
}

ToldObject readObject(const XmlElement& element) {
  ToldObject object{.id = idOf(element)};
  each(element, "Appearance", [&](const XmlElement& appearance) {
    each(appearance, "Shape", [&](const XmlElement& shape) { readShape(shape, &object); });
    each(appearance, "Class", [&](const XmlElement& kind) {
      each(kind, "Type", [&](const XmlElement& type) {
        object.kind = type.text();
        object.likelihood = real(type, "Likelihood", 1);
      });
    });
  });
  return object;
}

ToldFrame readFrame(const XmlElement& element) {
  ToldFrame frame{.time = device::onvif::readDateTime(element.attribute("UtcTime").value_or(""))};
  each(element, "Object",
       [&](const XmlElement& object) { frame.objects.push_back(readObject(object)); });
  each(element, "ObjectTree", [&](const XmlElement& tree) {
    each(tree, "Split", [&](const XmlElement& split) {
      frame.splits.push_back({idsOf(split, "from"), idsOf(split, "to")});
    });
    each(tree, "Merge", [&](const XmlElement& merge) {
      frame.merges.push_back({idsOf(merge, "from"), idsOf(merge, "to")});
    });
    frame.deletions = idsOf(tree, "Delete");
  });
  return frame;
}

void readItems(const XmlElement& message, ToldEvent* event) {
  event->operation = message.attribute("PropertyOperation").value_or("");
  for (const char* part : {"Source", "Data"}) {
    each(message, part, [&](const XmlElement& items) {
      each(items, "SimpleItem", [&](const XmlElement& item) {
        event->items.emplace_back(item.attribute("Name").value_or(""),
                                  item.attribute("Value").value_or(""));
      });
    });
  }
}

ToldEvent readEvent(const XmlElement& notification) {
  ToldEvent event;
  each(notification, ns::NOTIFICATION, "Topic",
       [&](const XmlElement& topic) { event.topic = topic.text(); });
  each(notification, ns::NOTIFICATION, "Message", [&](const XmlElement& outer) {
    each(outer, "Message", [&](const XmlElement& message) { readItems(message, &event); });
  });
  return event;
}

}  // namespace

ToldMetadata readMetadata(const std::string& text) {
  const device::onvif::XmlDocument document(text);
  ToldMetadata told;
  each(document.root(), "VideoAnalytics", [&](const XmlElement& analytics) {
    each(analytics, "Frame",
         [&](const XmlElement& frame) { told.frames.push_back(readFrame(frame)); });
  });
  each(document.root(), "Event", [&](const XmlElement& events) {
    each(events, ns::NOTIFICATION, "NotificationMessage",
         [&](const XmlElement& event) { told.events.push_back(readEvent(event)); });
  });
  return told;
}

}  // namespace fuzz
