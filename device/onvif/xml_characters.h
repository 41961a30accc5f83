// Texts as the XML library takes them; theirs and ours are UTF-8.
#ifndef DEVICE_ONVIF_XML_CHARACTERS_H
#define DEVICE_ONVIF_XML_CHARACTERS_H

#include <libxml/xmlstring.h>

#include <string>

namespace device::onvif {

// The text's own, up to its first zero.
inline const xmlChar* characters(const std::string& text) {
  return reinterpret_cast<const xmlChar*>(text.c_str());
}

}  // namespace device::onvif

#endif
