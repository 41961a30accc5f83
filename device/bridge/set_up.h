#ifndef DEVICE_BRIDGE_SET_UP_H
#define DEVICE_BRIDGE_SET_UP_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bridge/camera_survey.h"
#include "bridge/camera_views.h"
#include "bridge/head_check_run.h"
#include "bridge/metadata_switch.h"
#include "bridge/remote_head.h"
#include "bridge/settings_files.h"
#include "bridge/snapshot.h"
#include "onvif_client/camera_search.h"
#include "web_server/web_server.h"

namespace device::bridge {

// Sets cameras and head up, for the page: POST /api/setup with {"method": "..", "params": {..}},
// answered by {"data": {..}}, or by 400 and {"error": {"code": "HTTP", "message": ".."}}. What
// takes its time is begun, and getSetUp tells how far it is:
//
//   getSetUp         {"missing", "settings", "search": {"running", "cameras": [{"name", "hardware",
//                    "address"}]}, "camera": {"running", "degrees": whether the head knows them,
//                    "address", "trouble", "words", "profiles":
//                    [{"token", "name", "head", "picture", "analytics", "objects", "width",
//                    "height"}]}, "check": {"running", "sight": whether there are pictures,
//                    "step", "trouble", "words", "found"},
//                    "metadata": {"running", "trouble", "done"}}
//   search           which cameras there are
//   inspect          {"address", "user", "password"}, or {"camera": 1} or {"head": true}, of the
//                    settings and with their credentials; what it can, and from here on it is "the
//                    camera"
//   checkHead        {"profile", "zoom": bool, "ends": bool, "sight": bool, "told": {..}}: moves
//   the
//                    camera's head, through its zoom, to the ends of pan and tilt, and to where two
//                    pictures tell its scale, where that is wished; told: as for useHead
//   checkPictures    those pictures: {"from": {"pan", "tilt"}, "to": {"pan", "tilt"},
//                    "field_angle": degrees across, "before", "after": base64}
//   stopCheck
//   switchMetadataOn {"profile"}
//   snapshot         {"profile"}: {"running", "trouble", "jpeg": base64 or null} of the last one,
//                    and fetches the next
//   view             {"camera": 1} or {"head": true} of the settings, {"have": number}: {"number",
//                    "trouble", "jpeg": base64, or null while it is the one that the page has} of
//                    the last picture, and fetches the next
//   headZoom         {"position": in the head's own numbers, or null where it tells none, "unit":
//                    "generic" or "millimetres"} of the settings' head, as it is now
//   useHead          {"profile", "told": {..}}: the camera is the head; told: further keys of the
//                    settings' head, but for address and login; null takes one away. What the check
//                    has found counts once, where told does not say else, and further what the
//                    settings say of the same head
//   useCamera        {"profile", "told": {..}}: the camera is one more overview camera
//                    {"number": 1, "told": {..}}: changes of one that there is; null takes a key
//                    away
//   removeCamera     {"number": 1}
//   useGeneral       {"told": {..}}: mast_height, following
//
// Passwords go in and never come out. In the main loop of its thread.
class SetUp {
 public:
  struct Means {
    SettingsFiles& files;
    std::function<void()> changed;                          // the files are others now
    std::function<void(bool isHeld)> holdHead;              // while it is checked
    std::function<std::vector<onvif::FoundCamera>()> find;  // takes seconds, in a thread of its own
    std::function<std::optional<RemoteHead::Zoom>()> zoomTold;  // by the settings' head
  };

  explicit SetUp(Means means);
  SetUp(const SetUp&) = delete;
  SetUp& operator=(const SetUp&) = delete;
  ~SetUp();

  WebAnswer answer(const std::string& body);

  // As useGeneral does. Throws std::runtime_error with words for the user.
  void useFollowing(const std::string& way);

  // A head that is being checked is stopped, which is waited for.
  void stopForGood();

 private:
  struct Search;
  using Method = JsonAutoPtr (SetUp::*)(const json_t* params);
  static Method methodOf(const std::string& name);

  JsonAutoPtr tell(const json_t* params);
  JsonAutoPtr search(const json_t* params);
  JsonAutoPtr inspect(const json_t* params);
  JsonAutoPtr checkHead(const json_t* params);
  JsonAutoPtr checkPictures(const json_t* params);
  JsonAutoPtr stopCheck(const json_t* params);
  JsonAutoPtr switchMetadataOn(const json_t* params);
  JsonAutoPtr takeSnapshot(const json_t* params);
  JsonAutoPtr view(const json_t* params);
  JsonAutoPtr headZoom(const json_t* params);
  JsonAutoPtr useHead(const json_t* params);
  JsonAutoPtr useCamera(const json_t* params);
  JsonAutoPtr removeCamera(const json_t* params);
  JsonAutoPtr useGeneral(const json_t* params);

  const CameraAddress* knownIn(const json_t* params) const;
  HeadCheck::Wishes wishesIn(const json_t* params) const;
  void readLogin(const json_t* params);
  void survey();
  void settingsWritten();
  void changeCamera(const json_t* params);
  void addCamera(const json_t* params);
  json_t* searchJson() const;
  json_t* cameraJson() const;
  json_t* checkJson() const;
  json_t* placeOfCamera(const std::string& profile) const;
  Credentials newCredentials() const;
  void requireCamera() const;
  void requireNoCheck() const;
  const onvif::MediaProfile& profileIn(const json_t* params) const;
  bool isChecking() const;

  WebAnswer answerTo(const std::string& body);

  Means means;
  bool isAnswering = false;
  std::shared_ptr<Search> found;
  std::string device;  // the camera's device service; empty before the first inspection
  std::string loginName;
  onvif::Login login;
  bool isLoginNew = false;
  bool isSurveyed = false;
  std::string surveyTrouble;
  std::optional<CameraAbilities> abilities;
  std::unique_ptr<CameraSurvey> surveying;
  std::string checked;  // device service of the head that was checked
  std::unique_ptr<HeadCheckRun> check;
  bool isSwitching = false;
  bool isSwitched = false;
  std::string switchTrouble;
  std::unique_ptr<MetadataSwitch> switching;
  bool isSnapshotDue = false;
  std::string snapshotTrouble;
  std::string picture;  // as base64
  std::unique_ptr<Snapshot> snapshot;
  CameraViews views;
};

// What a check has found, with the keys of the settings' head; of one that did not come to its end
// without the zoom, which would end where it was stopped. The caller owns it.
json_t* settingsFound(const HeadMeasured& measured, bool isWhole);

}  // namespace device::bridge

#endif
