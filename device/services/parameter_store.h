#ifndef DEVICE_SERVICES_PARAMETER_STORE_H
#define DEVICE_SERVICES_PARAMETER_STORE_H

#include <map>
#include <optional>
#include <string>

namespace device {

// The device's parameters: full names ("root.Brand.ProdNbr") and values. A name may be given
// without its leading "root.".
class ParameterStore {
 public:
  explicit ParameterStore(std::map<std::string, std::string> values);

  std::optional<std::string> get(const std::string& name) const;

  // False when there is no such parameter; none is made.
  bool set(const std::string& name, const std::string& value);

  // The parameters whose full name begins with a text, by full name.
  std::map<std::string, std::string> list(const std::string& prefix) const;

 private:
  std::map<std::string, std::string> values;
};

}  // namespace device

#endif
