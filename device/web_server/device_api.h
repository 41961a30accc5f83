#ifndef DEVICE_WEB_SERVER_DEVICE_API_H
#define DEVICE_WEB_SERVER_DEVICE_API_H

#include <functional>
#include <string>

#include "base/json_auto_ptr.h"
#include "services/parameter_store.h"

namespace device {

// The parameters of the device that its page may change, asked for as the application is: one JSON
// document each way, with the application's codes.
//
//   getDeviceSettings                          "data" {"following": "predictive" or "specified"}
//   setDeviceSettings  {"following": the same}  the application's way of following; "data" has a
//                                              "notice" where the user has to do something yet
//   identifyHead                               the head is to be identified anew
//
// The application takes changes of these while its head rests. Nothing is kept, unless the device
// has a place for it: the next start has what the command line and the model say.
class DeviceApi {
 public:
  // Keeps the way of following and sets what follows from it. Returns what the user has to do yet,
  // in words; empty when it is nothing. Throws std::runtime_error with words for the user when it
  // cannot.
  using KeepFollowing = std::function<std::string(const std::string& way)>;

  // The store must outlive it. changed is called after each change.
  DeviceApi(ParameterStore& parameters, std::function<void()> changed,
            KeepFollowing keepFollowing = nullptr);

  std::string answer(const std::string& body);

  // The way that the parameter chooses, "predictive" or "specified".
  static std::string followingOf(const ParameterStore& parameters);

 private:
  JsonAutoPtr settings() const;
  JsonAutoPtr choose(const json_t* params);
  void identify();
  void set(const char* name, const std::string& value);

  ParameterStore& parameters;
  std::function<void()> changed;
  KeepFollowing keepFollowing;
};

}  // namespace device

#endif
