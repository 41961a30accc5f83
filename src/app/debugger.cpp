#include "app/debugger.h"

#include <execinfo.h>
#include <glib.h>
#include <syslog.h>

#include <array>
#include <csignal>

namespace {

constexpr int MAX_FRAMES = 10;
constexpr std::array CRASH_SIGNALS{SIGHUP, SIGINT,  SIGQUIT, SIGILL, SIGABRT,
                                   SIGFPE, SIGSEGV, SIGPIPE, SIGALRM};

void logStackTrace(int signalNumber) {
  const char* description = g_strsignal(signalNumber);
  std::array<void*, MAX_FRAMES> addresses{};
  const int count = backtrace(addresses.data(), MAX_FRAMES);
  // Never freed: the heap may be what is broken.
  char** symbols = backtrace_symbols(addresses.data(), count);
  syslog(LOG_ERR, "%s STACKTRACE BEGIN\n", description);
  for (int i = 0; symbols != nullptr && i < count; ++i) {
    syslog(LOG_ERR, "%s\n", symbols[i]);
  }
  syslog(LOG_ERR, "%s STACKTRACE END\n", description);
}

}  // namespace

void Debugger::initialize() {
  for (const int signalNumber : CRASH_SIGNALS) {
    std::signal(signalNumber, logStackTrace);
  }
}
