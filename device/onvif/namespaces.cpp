#include "onvif/namespaces.h"

#include <algorithm>
#include <array>

namespace device::onvif {
namespace {

struct Prefix {
  std::string_view prefix;
  std::string_view name;
};

constexpr std::array<Prefix, 19> PREFIXES = {{{"a", ns::DISCOVERY_ADDRESSING},
                                              {"d", ns::DISCOVERY},
                                              {"dn", ns::NETWORK},
                                              {"s", ns::SOAP},
                                              {"sv", ns::OWN_TOPICS},
                                              {"tan", ns::ANALYTICS},
                                              {"tds", ns::DEVICE},
                                              {"ter", ns::ERROR},
                                              {"tev", ns::EVENTS},
                                              {"tns1", ns::TOPICS},
                                              {"tptz", ns::PTZ},
                                              {"tr2", ns::MEDIA2},
                                              {"trt", ns::MEDIA},
                                              {"tt", ns::SCHEMA},
                                              {"wsa", ns::ADDRESSING},
                                              {"wsnt", ns::NOTIFICATION},
                                              {"wsse", ns::SECURITY},
                                              {"wstop", ns::TOPIC_SET},
                                              {"wsu", ns::SECURITY_UTILITY}}};

}  // namespace

std::string_view nameSpaceOfPrefix(std::string_view prefix) {
  const auto* const found = std::ranges::find(PREFIXES, prefix, &Prefix::prefix);
  return found != PREFIXES.end() ? found->name : std::string_view();
}

std::string_view prefixOfNameSpace(std::string_view name) {
  const auto* const found = std::ranges::find(PREFIXES, name, &Prefix::name);
  return found != PREFIXES.end() ? found->prefix : std::string_view();
}

}  // namespace device::onvif
