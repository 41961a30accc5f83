#ifndef APP_DAEMONIZE_H
#define APP_DAEMONIZE_H

#include <string>

namespace utils {

// Detaches the process from its terminal: the calling process exits with status 0 and a child in a
// session of its own returns. Working directory, umask and descriptors stay as they are.
//
// When the fork fails the process logs under the name and exits with status 0, as a parent does;
// when the session cannot be made it exits with status 1. Call it before any thread is started.
void daemonize(const std::string& name);

}  // namespace utils

#endif
