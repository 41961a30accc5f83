#ifndef DEVICE_ONVIF_CALL_H
#define DEVICE_ONVIF_CALL_H

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "onvif/fault.h"
#include "onvif/namespaces.h"
#include "onvif_server/operations.h"

namespace device::onvif {

// An answer as a client reads it; elements are found by their names alone.
class CallAnswer {
 public:
  explicit CallAnswer(const std::string& text)
      : document(std::make_shared<XmlDocument>(text)), element(document->root()) {}

  // The n-th element of that name at any depth; a failure of the test when there is none.
  CallAnswer at(const std::string& name, int n = 0) const {
    const auto found = find(element, name, &n);
    EXPECT_TRUE(found) << "no " << name;
    return {document, found.value_or(element)};
  }
  int count(const std::string& name) const { return countIn(element, name); }
  std::string text() const { return element.text(); }
  std::string attribute(const std::string& name) const {
    return element.attribute(name).value_or("none");
  }
  double number(const std::string& name) const { return std::stod(attribute(name)); }
  std::string name() const { return element.name().name; }
  std::vector<std::string> children() const {
    std::vector<std::string> names;
    for (const XmlElement& child : element.children()) {
      names.push_back(child.name().name);
    }
    return names;
  }

 private:
  CallAnswer(std::shared_ptr<XmlDocument> document, XmlElement element)
      : document(std::move(document)), element(element) {}

  static std::optional<XmlElement> find(const XmlElement& from, const std::string& name, int* n) {
    for (const XmlElement& child : from.children()) {
      if (child.name().name == name && (*n)-- == 0) {
        return child;
      }
      if (const auto found = find(child, name, n)) {
        return found;
      }
    }
    return std::nullopt;
  }
  static int countIn(const XmlElement& from, const std::string& name) {
    int count = 0;
    for (const XmlElement& child : from.children()) {
      count += (child.name().name == name ? 1 : 0) + countIn(child, name);
    }
    return count;
  }

  std::shared_ptr<XmlDocument> document;
  XmlElement element;
};

// Calls an operation as the server does: an element in the vocabulary of its service, in which the
// prefix of what it holds is "tt" for the schema.
inline std::optional<CallAnswer> tryCall(const Operations& operations, const std::string& nameSpace,
                                         const std::string& name, const std::string& content = "",
                                         const std::string& path = "/onvif/service") {
  const XmlDocument document("<" + name + " xmlns=\"" + nameSpace + "\" xmlns:tt=\"" + ns::SCHEMA +
                             "\" xmlns:wsnt=\"" + ns::NOTIFICATION + "\">" + content + "</" + name +
                             ">");
  const Operations::Operation* operation = operations.find(document.root().name());
  EXPECT_NE(nullptr, operation) << name;
  std::optional<CallAnswer> answer;
  operation->serve({document.root(), "camera:80", path},
                   {[&](const Tag& tag, const Operations::Sent& sent) {
                      answer.emplace(tag.document());
                      if (sent) {
                        sent(true);
                      }
                    },
                    [] { return true; }});
  return answer;
}

inline CallAnswer call(const Operations& operations, const std::string& nameSpace,
                       const std::string& name, const std::string& content = "",
                       const std::string& path = "/onvif/service") {
  const auto answer = tryCall(operations, nameSpace, name, content, path);
  EXPECT_TRUE(answer) << name << " is not answered yet";
  return *answer;
}

// The last subcode of the fault; empty when there is none.
inline std::string faultOf(const Operations& operations, const std::string& nameSpace,
                           const std::string& name, const std::string& content = "",
                           const std::string& path = "/onvif/service") {
  try {
    call(operations, nameSpace, name, content, path);
    return "";
  } catch (const Fault& fault) {
    return fault.getSubcodes().back();
  }
}

}  // namespace device::onvif

#endif
