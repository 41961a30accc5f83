#include "onvif_server/operations.h"

#include <utility>

#include "onvif/fault.h"

namespace device::onvif {

void Operations::add(const std::string& nameSpace, const std::string& name, Access access,
                     Function function) {
  addWaiting(nameSpace, name, access,
             [function = std::move(function)](const Request& request, const Answer& answer) {
               answer.send(function(request), {});
             });
}

void Operations::addWaiting(const std::string& nameSpace, const std::string& name, Access access,
                            WaitingFunction function) {
  operations[{nameSpace, name}] = {access, std::move(function), ""};
}

void Operations::setAction(const std::string& nameSpace, const std::string& name,
                           std::string action) {
  operations.at({nameSpace, name}).action = std::move(action);
}

void Operations::cover(const Layer& layer) {
  for (auto& [name, operation] : operations) {
    operation.serve = layer(name, std::move(operation.serve));
  }
}

const Operations::Operation* Operations::find(const XmlName& name) const {
  const auto found = operations.find(name);
  return found != operations.end() ? &found->second : nullptr;
}

std::string requiredText(const Request& request, const std::string& nameSpace,
                         const std::string& name) {
  const auto element = request.body.child(nameSpace, name);
  if (!element || element->text().empty()) {
    throw invalidArguments(name + " is missing");
  }
  return element->text();
}

std::string optionalText(const Request& request, const std::string& nameSpace,
                         const std::string& name) {
  const auto element = request.body.child(nameSpace, name);
  return element ? element->text() : "";
}

}  // namespace device::onvif
