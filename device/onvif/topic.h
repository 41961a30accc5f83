#ifndef DEVICE_ONVIF_TOPIC_H
#define DEVICE_ONVIF_TOPIC_H

#include <string>
#include <vector>

#include "onvif/xml.h"

namespace device::onvif {

// The name of a kind of event: a vocabulary and a path in it.
struct Topic {
  std::string nameSpace;
  std::vector<std::string> path;  // "VideoSource", "MotionAlarm"

  auto operator<=>(const Topic&) const = default;
};

// Which events somebody wants: the topics of wsnt:TopicExpression elements.
class TopicFilter {
 public:
  static constexpr char CONCRETE_SET[] =
      "http://www.onvif.org/ver10/tev/topicExpression/ConcreteSet";
  static constexpr char CONCRETE[] = "http://docs.oasis-open.org/wsn/t-1/TopicExpression/Concrete";

  // Lets everything pass.
  TopicFilter() = default;

  // Reads the elements of a tev:Filter or wsnt:Filter. Paths are joined by "|"; "//." at the end of
  // one stands for everything from there on, "*" for any one level. Throws Fault for another
  // dialect, a prefix that stands for nothing, and for filters by content.
  explicit TopicFilter(const XmlElement& filter);

  bool passes(const Topic& topic) const;

  // The same topics, in the same order.
  bool operator==(const TopicFilter&) const = default;

 private:
  struct Pattern {
    Topic topic;
    bool isSubtree;

    bool matches(const Topic& topic) const;
    bool operator==(const Pattern&) const = default;
  };

  void readExpression(const XmlElement& expression);
  static Pattern readPattern(const XmlElement& expression, std::string_view text);

  std::vector<Pattern> patterns;  // none: everything
};

}  // namespace device::onvif

#endif
