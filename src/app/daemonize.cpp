#include "app/daemonize.h"

#include <sys/types.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>

namespace {

[[noreturn]] void failWith(const std::string& name, const char* message, int status) {
  openlog(name.c_str(), LOG_NDELAY, LOG_USER);
  syslog(LOG_ERR, "%s\n", message);
  closelog();
  std::exit(status);
}

}  // namespace

namespace utils {

void daemonize(const std::string& name) {
  const pid_t pid = fork();
  if (pid == -1) {
    failWith(name, "Could not deamonize the application", EXIT_SUCCESS);
  }
  if (pid > 0) {
    std::exit(EXIT_SUCCESS);
  }
  if (setsid() == -1) {
    failWith(name, "Could not set sid for the application", EXIT_FAILURE);
  }
}

}  // namespace utils
