#include "onvif/xml.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>

#include "base/text.h"
#include "onvif/xml_characters.h"

namespace device::onvif {
namespace {

constexpr std::string_view WHITE_SPACE = " \t\r\n";

// What one reading has met so far.
struct Watch {
  XmlLimits limits;
  int depth = 0;
  int elements = 0;
  const char* reason = nullptr;  // why it was ended
};

struct ContextDeleter {
  void operator()(xmlParserCtxt* context) const {
    xmlFreeDoc(context->myDoc);
    xmlFreeParserCtxt(context);
  }
};

const char* plain(const xmlChar* characters) {
  return reinterpret_cast<const char*>(characters);
}

void end(xmlParserCtxt* context, const char* reason) {
  static_cast<Watch*>(context->_private)->reason = reason;
  xmlStopParser(context);
}

void refuseType(void* data, const xmlChar*, const xmlChar*, const xmlChar*) {
  end(static_cast<xmlParserCtxt*>(data), "A document type is not accepted");
}

void startElement(void* data, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                  int nameSpaceCount, const xmlChar** nameSpaces, int attributeCount,
                  int defaultedCount, const xmlChar** attributes) {
  auto* context = static_cast<xmlParserCtxt*>(data);
  auto* watch = static_cast<Watch*>(context->_private);
  if (++watch->depth > watch->limits.depth) {
    return end(context, "Elements are nested too deeply");
  }
  if (++watch->elements > watch->limits.elements) {
    return end(context, "There are too many elements");
  }
  if (attributeCount + nameSpaceCount > watch->limits.attributes) {
    return end(context, "An element has too many attributes");
  }
  xmlSAX2StartElementNs(data, name, prefix, uri, nameSpaceCount, nameSpaces, attributeCount,
                        defaultedCount, attributes);
}

void endElement(void* data, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri) {
  --static_cast<Watch*>(static_cast<xmlParserCtxt*>(data)->_private)->depth;
  xmlSAX2EndElementNs(data, name, prefix, uri);
}

std::string_view nameSpaceOfNode(const xmlNode* node) {
  return node->ns != nullptr && node->ns->href != nullptr ? plain(node->ns->href) : "";
}

const xmlNode* nextElement(const xmlNode* node) {
  while (node != nullptr && node->type != XML_ELEMENT_NODE) {
    node = node->next;
  }
  return node;
}

std::string take(xmlChar* characters) {
  const std::unique_ptr<xmlChar, decltype(xmlFree)> owner(characters, xmlFree);
  return plain(characters);
}

}  // namespace

XmlName XmlElement::name() const {
  return {std::string(nameSpaceOfNode(node)), plain(node->name)};
}

bool XmlElement::is(std::string_view nameSpace, std::string_view name) const {
  return name == plain(node->name) && nameSpace == nameSpaceOfNode(node);
}

std::optional<XmlElement> XmlElement::child(std::string_view nameSpace,
                                            std::string_view name) const {
  for (const XmlElement& child : children()) {
    if (child.is(nameSpace, name)) {
      return child;
    }
  }
  return std::nullopt;
}

std::optional<XmlElement> XmlElement::firstChild() const {
  const xmlNode* first = nextElement(node->children);
  return first != nullptr ? std::optional(XmlElement(first)) : std::nullopt;
}

std::vector<XmlElement> XmlElement::children() const {
  std::vector<XmlElement> result;
  for (const xmlNode* child = nextElement(node->children); child != nullptr;
       child = nextElement(child->next)) {
    result.emplace_back(child);
  }
  return result;
}

std::string XmlElement::text() const {
  std::string all;
  for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
    const bool isText = child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE;
    if (isText && child->content != nullptr) {
      all += plain(child->content);
    }
  }
  return std::string(text::trimmed(all, WHITE_SPACE));
}

std::optional<std::string> XmlElement::attribute(const std::string& name) const {
  xmlChar* value = xmlGetNoNsProp(node, characters(name));
  return value != nullptr ? std::optional(take(value)) : std::nullopt;
}

std::optional<std::string> XmlElement::attribute(const std::string& nameSpace,
                                                 const std::string& name) const {
  xmlChar* value = xmlGetNsProp(node, characters(name), characters(nameSpace));
  return value != nullptr ? std::optional(take(value)) : std::nullopt;
}

std::optional<std::string> XmlElement::nameSpaceOf(const std::string& prefix) const {
  // The library's search may add to the document, though not to what is seen of it.
  auto* own = const_cast<xmlNode*>(node);
  const xmlNs* found = xmlSearchNs(own->doc, own, prefix.empty() ? nullptr : characters(prefix));
  return found != nullptr ? std::optional<std::string>(plain(found->href)) : std::nullopt;
}

void XmlDocument::Deleter::operator()(_xmlDoc* document) const {
  xmlFreeDoc(document);
}

XmlDocument::XmlDocument(std::string_view text, const XmlLimits& limits) {
  if (text.size() > limits.bytes) {
    throw XmlError("The document is too long");
  }
  const std::unique_ptr<xmlParserCtxt, ContextDeleter> context(xmlNewParserCtxt());
  if (!context) {
    throw std::bad_alloc();
  }
  Watch watch{limits};
  context->_private = &watch;
  context->sax->internalSubset = refuseType;
  context->sax->startElementNs = startElement;
  context->sax->endElementNs = endElement;
  xmlDoc* whole =
      xmlCtxtReadMemory(context.get(), text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
  document.reset(whole);
  if (watch.reason != nullptr) {
    throw XmlError(watch.reason);
  }
  if (!document || xmlDocGetRootElement(document.get()) == nullptr) {
    throw XmlError("The document is not well-formed");
  }
}

XmlElement XmlDocument::root() const {
  return XmlElement(xmlDocGetRootElement(document.get()));
}

}  // namespace device::onvif
