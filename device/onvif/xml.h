#ifndef DEVICE_ONVIF_XML_H
#define DEVICE_ONVIF_XML_H

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct _xmlDoc;
struct _xmlNode;

namespace device::onvif {

// How much of a stranger's document is read.
struct XmlLimits {
  std::size_t bytes = std::size_t{1} << 20;
  int depth = 64;
  int elements = 20000;
  int attributes = 256;  // of one element
};

// A document that is not well-formed, goes beyond the limits or has a document type.
class XmlError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A name with its vocabulary.
struct XmlName {
  std::string nameSpace;
  std::string name;

  auto operator<=>(const XmlName&) const = default;
};

// One element of a document, which has to outlive it. Names are told apart by vocabulary, never by
// prefix.
class XmlElement {
 public:
  explicit XmlElement(const _xmlNode* node) : node(node) {}

  XmlName name() const;
  bool is(std::string_view nameSpace, std::string_view name) const;

  // The first one of that name; nothing when there is none.
  std::optional<XmlElement> child(std::string_view nameSpace, std::string_view name) const;
  std::optional<XmlElement> firstChild() const;
  std::vector<XmlElement> children() const;

  // What stands directly in the element, without white space around it.
  std::string text() const;

  // Of an attribute without a vocabulary, or of one of a vocabulary.
  std::optional<std::string> attribute(const std::string& name) const;
  std::optional<std::string> attribute(const std::string& nameSpace, const std::string& name) const;

  // The vocabulary for which a prefix stands here, in texts that hold names. The empty prefix
  // stands for the default one.
  std::optional<std::string> nameSpaceOf(const std::string& prefix) const;

 private:
  const _xmlNode* node;
};

// A document that was read as strangers' documents have to be: nothing is fetched, no entity is
// declared or expanded, and the limits hold while it is read.
class XmlDocument {
 public:
  // Throws XmlError.
  explicit XmlDocument(std::string_view text, const XmlLimits& limits = {});

  XmlElement root() const;

 private:
  struct Deleter {
    void operator()(_xmlDoc* document) const;
  };

  std::unique_ptr<_xmlDoc, Deleter> document;
};

}  // namespace device::onvif

#endif
