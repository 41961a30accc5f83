#ifndef DEVICE_WEB_SERVER_SITE_ABOUT_H
#define DEVICE_WEB_SERVER_SITE_ABOUT_H

#include <jansson.h>

#include <functional>
#include <string>

#include "base/json_auto_ptr.h"

namespace device {

// What a site tells of its application: the versions of its API, and the number of its
// configuration. The application says it itself, when it is asked after it has come or its
// configuration was changed.
class SiteAbout {
 public:
  // As WebInterface::ask.
  using Ask = std::function<void(const std::string& body,
                                 std::function<void(const std::string* answer)> done)>;

  // told is called whenever there is something new to tell.
  SiteAbout(Ask ask, std::function<void()> told);

  // There may be something new.
  void outdate() { isDue = true; }

  // A request from the network that the application has answered.
  void take(const std::string& request);

  // Asks, unless nothing has changed or an answer is awaited; once more when there was none.
  void look();

  // Adds "apiVersions" and "configurationStatus", as far as they are known.
  void writeTo(json_t* about) const;

 private:
  void askFor(const char* method, const char* key, JsonAutoPtr* place);

  Ask ask;
  std::function<void()> told;
  bool isDue = false;
  int awaited = 0;
  JsonAutoPtr versions;
  JsonAutoPtr status;
};

}  // namespace device

#endif
