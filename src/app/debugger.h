#ifndef APP_DEBUGGER_H
#define APP_DEBUGGER_H

// A diagnostic facility for developers: logs a stack trace when the process is hit by a signal that
// usually means a fault. The daemon does not switch it on.
class Debugger {
 public:
  Debugger() = delete;

  // Installs the handler for SIGHUP, SIGINT, SIGQUIT, SIGILL, SIGABRT, SIGFPE, SIGSEGV, SIGPIPE and
  // SIGALRM. It returns into the fault, so a SIGSEGV is logged again and again.
  static void initialize();
};

#endif
