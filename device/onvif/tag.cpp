#include "onvif/tag.h"

#include <libxml/xmlwriter.h>

#include <array>
#include <charconv>
#include <memory>
#include <set>
#include <stdexcept>

#include "base/glib_ptr.h"
#include "onvif/namespaces.h"
#include "onvif/xml_characters.h"

namespace device::onvif {
namespace {

struct BufferDeleter {
  void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};

struct WriterDeleter {
  void operator()(xmlTextWriter* writer) const { xmlFreeTextWriter(writer); }
};

// XML has no place for most control characters, whichever way they are written.
std::string writable(const std::string& text) {
  const GTextPtr valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
  std::string result;
  const char* next = nullptr;
  for (const char* at = valid.get(); *at != '\0'; at = next) {
    next = g_utf8_next_char(at);
    const gunichar character = g_utf8_get_char(at);
    const bool isControl = character < 0x20 && character != '\t' && character != '\n';
    if (!isControl && character != 0xFFFE && character != 0xFFFF) {
      result.append(at, static_cast<std::size_t>(next - at));
    }
  }
  return result;
}

template <typename Number>
std::string shortest(Number number) {
  std::array<char, 32> text;
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
  return {text.data(), end};
}

}  // namespace

class TagWriter {
 public:
  TagWriter() : buffer(xmlBufferCreate()), writer(xmlNewTextWriterMemory(buffer.get(), 0)) {
    if (!buffer || !writer) {
      throw std::bad_alloc();
    }
  }

  std::string write(const Tag& root) {
    xmlTextWriterStartDocument(writer.get(), nullptr, "UTF-8", nullptr);
    begin(root);
    std::set<std::string> prefixes;
    collect(root, &prefixes);
    for (const std::string& prefix : prefixes) {
      const std::string name(nameSpaceOfPrefix(prefix));
      if (name.empty()) {
        throw std::logic_error("No vocabulary has the prefix " + prefix);
      }
      attribute({"xmlns:" + prefix, name});
    }
    finish(root);
    xmlTextWriterEndDocument(writer.get());
    xmlTextWriterFlush(writer.get());
    return {reinterpret_cast<const char*>(xmlBufferContent(buffer.get())),
            static_cast<std::size_t>(xmlBufferLength(buffer.get()))};
  }

 private:
  static void collect(const std::string& name, std::set<std::string>* prefixes) {
    const std::size_t colon = name.find(':');
    const std::string prefix = colon != std::string::npos ? name.substr(0, colon) : "";
    if (!prefix.empty() && prefix != "xml" && prefix != "xmlns") {
      prefixes->insert(prefix);
    }
  }

  static void collect(const Tag& tag, std::set<std::string>* prefixes) {
    collect(tag.name, prefixes);
    for (const Attribute& attribute : tag.attributes) {
      collect(attribute.name, prefixes);
    }
    for (const Tag& child : tag.children) {
      collect(child, prefixes);
    }
  }

  void begin(const Tag& tag) { xmlTextWriterStartElement(writer.get(), characters(tag.name)); }

  void finish(const Tag& tag) {
    for (const Attribute& entry : tag.attributes) {
      attribute(entry);
    }
    if (!tag.text.empty()) {
      xmlTextWriterWriteString(writer.get(), characters(writable(tag.text)));
    }
    for (const Tag& child : tag.children) {
      begin(child);
      finish(child);
    }
    xmlTextWriterEndElement(writer.get());
  }

  void attribute(const Attribute& entry) {
    xmlTextWriterWriteAttribute(writer.get(), characters(entry.name),
                                characters(writable(entry.value)));
  }

  std::unique_ptr<xmlBuffer, BufferDeleter> buffer;
  std::unique_ptr<xmlTextWriter, WriterDeleter> writer;
};

std::string textOf(double value) {
  return shortest(value);
}

std::string textOf(std::int64_t value) {
  return shortest(value);
}

Tag& Tag::add(Attribute attribute) {
  attributes.push_back(std::move(attribute));
  return *this;
}

Tag& Tag::add(Tag child) {
  children.push_back(std::move(child));
  return *this;
}

Tag& Tag::add(std::vector<Tag> more) {
  for (Tag& child : more) {
    children.push_back(std::move(child));
  }
  return *this;
}

Tag& Tag::add(std::string_view more) {
  text += more;
  return *this;
}

std::string Tag::document() const {
  return TagWriter().write(*this);
}

}  // namespace device::onvif
