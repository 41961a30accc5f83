#ifndef DEVICE_WEB_SERVER_WEB_COMMAND_LINE_H
#define DEVICE_WEB_SERVER_WEB_COMMAND_LINE_H

#include <glib.h>

#include <vector>

#include "base/command_line.h"
#include "web_server/broker_options.h"
#include "web_server/web_options.h"

namespace device {

// The options of web server and brokers on the command line of a program that shows a device: GLib
// writes here what it reads.
class WebCommandLine {
 public:
  // Without the null entry that ends GLib's list. They point into this, which has to outlive the
  // reading.
  std::vector<GOptionEntry> entries();

  // usualFolder: of the page, when the command line names none. Throws OptionError.
  WebOptions read(const char* usualFolder) const;

 private:
  OptionText port;
  OptionText listen;
  OptionText user;
  OptionText passwordFile;
  OptionText metricsTokenFile;
  OptionText web;
  RawBrokerOptions broker;
};

}  // namespace device

#endif
