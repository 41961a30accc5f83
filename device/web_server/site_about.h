#ifndef DEVICE_WEB_SERVER_SITE_ABOUT_H
#define DEVICE_WEB_SERVER_SITE_ABOUT_H

#include <jansson.h>

#include <functional>
#include <string>

#include "base/json_auto_ptr.h"

namespace device {

// What a device tells of its application: the versions of its API, and the number of its
// configuration. The application says it itself, when it is asked after it has come or its
// configuration was changed.
class SiteAbout {
 public:
  // As WebInterface::ask.
  using Ask = std::function<void(const std::string& body,
                                 std::function<void(const std::string* answer)> done)>;

  enum class Scope_e { versions, all };

  static constexpr int LONGEST_REST = 60;  // looks

  // told is called whenever there is something new to tell.
  SiteAbout(Ask ask, std::function<void()> told, Scope_e scope = Scope_e::all);

  // There may be something new.
  void outdate();

  // A request from the network that the application has answered.
  void take(const std::string& request);

  // Asks, unless nothing has changed or an answer is awaited; again when there was none, after ever
  // more looks, up to LONGEST_REST.
  void look();

  // "1.0", or several with commas; empty while they are not known.
  std::string apiVersions() const;

  // Adds "apiVersions" and "configurationStatus", as far as they are known.
  void writeTo(json_t* about) const;

 private:
  void askFor(const char* method, const char* key, JsonAutoPtr* place);
  void conclude();

  Ask ask;
  std::function<void()> told;
  const Scope_e scope;
  bool isDue = false;
  int awaited = 0;
  bool isUnanswered = false;  // one of the questions
  int rest = 0;               // looks after the last question that was not answered
  int resting = 0;            // looks of it that are left
  JsonAutoPtr versions;
  JsonAutoPtr status;
};

}  // namespace device

#endif
