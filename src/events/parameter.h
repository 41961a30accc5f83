#ifndef EVENTS_PARAMETER_H
#define EVENTS_PARAMETER_H

#include <cstddef>
#include <optional>
#include <string>

namespace utils {

// The value of one of the device's parameters, cut to so many bytes; empty when it cannot be read.
// It is asked for with every call, which may block. Any thread.
std::string readParameter(const std::string& name, std::size_t mostBytes);

// The same; empty when there is no such parameter, nothing when the question was lost.
std::optional<std::string> askParameter(const std::string& name, std::size_t mostBytes);

}  // namespace utils

#endif
