#ifndef DEVICE_MODEL_MODEL_ERROR_H
#define DEVICE_MODEL_MODEL_ERROR_H

#include <stdexcept>

namespace device {

// A model file that cannot be used. what() is "FILE: KEY: REASON" (without KEY when the fault is
// the file's as a whole).
class ModelError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace device

#endif
