#include "onvif/topic.h"

#include <algorithm>

#include "base/text.h"
#include "onvif/fault.h"
#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

constexpr std::string_view SUBTREE = "//.";
constexpr std::string_view WHITE_SPACE = " \t\r\n";
constexpr std::size_t MOST_PATTERNS = 64;

Fault invalidExpression(const std::string& reason) {
  return invalidArgument("ter:InvalidFilter", reason);
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (true) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      return parts;
    }
    text.remove_prefix(end + 1);
  }
}

}  // namespace

TopicFilter::TopicFilter(const XmlElement& filter) {
  for (const XmlElement& part : filter.children()) {
    if (part.is(ns::NOTIFICATION, "TopicExpression")) {
      readExpression(part);
    } else if (part.is(ns::NOTIFICATION, "MessageContent") && !part.text().empty()) {
      throw invalidExpression("Events are not filtered by their content");
    }
  }
}

bool TopicFilter::passes(const Topic& topic) const {
  return patterns.empty() ||
         std::ranges::any_of(patterns, [&](const Pattern& each) { return each.matches(topic); });
}

void TopicFilter::readExpression(const XmlElement& expression) {
  const std::string dialect = expression.attribute("Dialect").value_or(CONCRETE);
  if (dialect != CONCRETE_SET && dialect != CONCRETE) {
    throw invalidExpression("This dialect of topics is not known");
  }
  const std::string text = expression.text();
  for (const std::string_view path : split(text, '|')) {
    patterns.push_back(readPattern(expression, text::trimmed(path, WHITE_SPACE)));
    if (patterns.size() > MOST_PATTERNS) {
      throw invalidExpression("There are too many topics");
    }
  }
}

TopicFilter::Pattern TopicFilter::readPattern(const XmlElement& expression, std::string_view text) {
  Pattern pattern{{}, text.ends_with(SUBTREE)};
  if (pattern.isSubtree) {
    text.remove_suffix(SUBTREE.size());
  }
  const std::size_t colon = text.find(':');
  const std::string prefix(colon != std::string_view::npos ? text.substr(0, colon) : "");
  const auto nameSpace = expression.nameSpaceOf(prefix);
  if (!nameSpace) {
    throw invalidExpression("The prefix of a topic stands for nothing");
  }
  pattern.topic.nameSpace = *nameSpace;
  text.remove_prefix(colon != std::string_view::npos ? colon + 1 : 0);
  for (const std::string_view level : split(text, '/')) {
    // Levels may have a prefix of their own, which is that of the whole here.
    const std::size_t own = level.find(':');
    pattern.topic.path.emplace_back(own != std::string_view::npos ? level.substr(own + 1) : level);
    if (pattern.topic.path.back().empty()) {
      throw invalidExpression("A topic has an empty level");
    }
  }
  return pattern;
}

bool TopicFilter::Pattern::matches(const Topic& candidate) const {
  const std::size_t length = topic.path.size();
  const bool isLongEnough =
      isSubtree ? candidate.path.size() >= length : candidate.path.size() == length;
  if (candidate.nameSpace != topic.nameSpace || !isLongEnough) {
    return false;
  }
  for (std::size_t i = 0; i < length; ++i) {
    if (topic.path[i] != "*" && topic.path[i] != candidate.path[i]) {
      return false;
    }
  }
  return true;
}

}  // namespace device::onvif
