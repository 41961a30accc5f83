#ifndef CGI_CGI_CALLBACK_H
#define CGI_CGI_CALLBACK_H

#include <gio/gio.h>
#include <glib.h>

#include <string>

// The entry of every request: registered with the device's HTTP service, with a CGI_Handler as user
// data. One process-wide mutex serialises requests from entry to answer.
class CGI_Callback {
 public:
  CGI_Callback() = delete;

  static void handle(const char* path, const char* method, const char* query,
                     GHashTable* parameters, GOutputStream* out, void* userData);

  // From now on requests are dropped without an answer. Waits for one that is being answered.
  static void shutDown();

  // The request with whatever follows its last closing brace cut off, when that makes it JSON.
  // Only for other applications of these classes.
  static std::string repairTail(const std::string& text);
};

#endif
