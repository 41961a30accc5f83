#include "bridge/set_up.h"

#include <gio/gio.h>
#include <jansson.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

#include "onvif/namespaces.h"
#include "web_server/json_values.h"

namespace device::bridge {

namespace {

using onvif::MediaProfile;

constexpr std::size_t LONGEST_TEXT = 1024;
constexpr char BUSY[] = "Another change is being made";

struct BadRequest : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string textIn(const json_t* object, const char* key) {
  const json_t* value = json_object_get(object, key);
  if (value != nullptr && !json_is_string(value)) {
    throw BadRequest(std::string(key) + " must be a text");
  }
  const std::string text = value != nullptr ? json_string_value(value) : "";
  if (text.size() > LONGEST_TEXT) {
    throw BadRequest(std::string(key) + " is too long");
  }
  return text;
}

const json_t* toldIn(const json_t* params) {
  const json_t* told = json_object_get(params, "told");
  if (told != nullptr && !json_is_object(told)) {
    throw BadRequest("told must be an object");
  }
  // A login's digests go to the camera that was looked at, and to no other.
  for (const char* key : {"address", "login"}) {
    if (json_object_get(told, key) != nullptr) {
      throw BadRequest(std::string(key) + " is not told here: look at the camera first");
    }
  }
  return told;
}

void takeAway(json_t* object, const json_t* told) {
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(const_cast<json_t*>(told), key, value) {
    if (json_is_null(value)) {
      json_object_del(object, key);
    }
  }
}

void enter(json_t* object, const json_t* told) {
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(const_cast<json_t*>(told), key, value) {
    if (!json_is_null(value)) {
      json_object_set(object, key, value);
    }
  }
}

// Changes keys of an object; null takes one away.
void merge(json_t* object, const json_t* told) {
  takeAway(object, told);
  enter(object, told);
}

bool isAlike(const json_t* one, const json_t* other, const char* key) {
  return json_equal(json_object_get(one, key), json_object_get(other, key)) != 0;
}

json_t* textsJson(const std::vector<std::string>& texts) {
  json_t* list = json_array();
  for (const std::string& text : texts) {
    json_array_append_new(list, jsonText(text));
  }
  return list;
}

json_t* profilesJson(const std::vector<MediaProfile>& profiles) {
  json_t* list = json_array();
  for (const MediaProfile& profile : profiles) {
    json_array_append_new(
        list, json_pack("{s:o, s:o, s:b, s:b, s:b, s:b, s:i, s:i}", "token",
                        jsonText(profile.token), "name", jsonText(profile.name), "head",
                        !profile.ptz.empty(), "picture", profile.hasSource, "analytics",
                        profile.hasAnalytics, "objects", profile.metadataTellsObjects, "width",
                        profile.pictureWidth, "height", profile.pictureHeight));
  }
  return list;
}

WebAnswer refusal(const std::string& reason) {
  const JsonAutoPtr json(
      json_pack("{s:{s:s, s:o}}", "error", "code", "HTTP", "message", jsonText(reason)));
  return {SOUP_STATUS_BAD_REQUEST, lineOf(json.get())};
}

JsonAutoPtr nothing() {
  return JsonAutoPtr(json_object());
}

}  // namespace

// Is shared with the thread that searches, which may outlive the set-up.
struct SetUp::Search {
  std::function<std::vector<onvif::FoundCamera>()> find;
  std::vector<onvif::FoundCamera> cameras;
  bool isRunning = false;

  using Shared = std::shared_ptr<Search>;

  static void run(GTask* task, gpointer, gpointer data, GCancellable*) {
    auto* cameras = new std::vector<onvif::FoundCamera>((*static_cast<Shared*>(data))->find());
    g_task_return_pointer(task, cameras, [](gpointer pointer) {
      delete static_cast<std::vector<onvif::FoundCamera>*>(pointer);
    });
  }

  static void ended(GObject*, GAsyncResult* result, gpointer) {
    auto* task = G_TASK(result);
    const Shared search = *static_cast<Shared*>(g_task_get_task_data(task));
    const std::unique_ptr<std::vector<onvif::FoundCamera>> found(
        static_cast<std::vector<onvif::FoundCamera>*>(g_task_propagate_pointer(task, nullptr)));
    search->cameras = std::move(*found);
    search->isRunning = false;
  }

  static void start(const Shared& search) {
    search->isRunning = true;
    const GObjectPtr<GTask> task(g_task_new(nullptr, nullptr, ended, nullptr));
    g_task_set_task_data(task.get(), new Shared(search),
                         [](gpointer data) { delete static_cast<Shared*>(data); });
    g_task_run_in_thread(task.get(), run);
  }
};

namespace {

json_t* pairOf(const Range& range) {
  return json_pack("[f, f]", range.low, range.high);
}

void enterAxis(json_t* head, const HeadMeasured::Axis& axis, const std::string& name) {
  if (axis.scale && axis.scale->degrees && axis.scale->isOtherThanTold()) {
    json_object_set_new(head, (name + "_range").c_str(), pairOf(*axis.scale->degrees));
  }
  if (axis.ends) {
    json_object_set_new(head, (name + "_ends").c_str(),
                        axis.ends->isShort() ? pairOf(axis.ends->reached) : json_null());
  }
}

}  // namespace

json_t* settingsFound(const HeadMeasured& measured, bool isWhole) {
  json_t* head = json_object();
  if (measured.pan.moves) {
    json_object_set_new(head, "invert_pan_speed", json_boolean(measured.pan.isReversed));
  }
  if (measured.tilt.moves) {
    json_object_set_new(head, "invert_tilt_speed", json_boolean(measured.tilt.isReversed));
  }
  enterAxis(head, measured.pan, "pan");
  enterAxis(head, measured.tilt, "tilt");
  if (measured.tellsMotion) {
    json_object_set_new(head, "move_status", json_boolean(*measured.tellsMotion));
  }
  if (measured.heedsTimeout) {
    json_object_set_new(head, "timeout", json_boolean(*measured.heedsTimeout));
  }
  if (isWhole && measured.zoomTable.size() > 1) {
    const auto [least, most] = std::ranges::minmax(measured.zoomTable, {}, &ZoomPoint::fieldAngle);
    json_object_set_new(head, "field_angles",
                        json_pack("[f, f]", least.fieldAngle, most.fieldAngle));
    json_t* table = json_array();
    for (const ZoomPoint& point : measured.zoomTable) {
      json_array_append_new(table, json_pack("[f, f]", point.position, point.fieldAngle));
    }
    json_object_set_new(head, "zoom_table", table);
    json_object_set_new(head, "zoom_unit",
                        json_string(measured.isTableInMillimetres ? "millimetres" : "generic"));
  }
  return head;
}

namespace {

json_t* foundBy(const HeadCheck& check) {
  return settingsFound(check.getMeasured(), check.isOver() && !check.isStopped());
}

}  // namespace

SetUp::SetUp(Means given) : means(std::move(given)), found(std::make_shared<Search>()) {
  found->find = means.find;
}

SetUp::~SetUp() = default;

SetUp::Method SetUp::methodOf(const std::string& name) {
  static const std::map<std::string, Method> METHODS = {
      {"getSetUp", &SetUp::tell},
      {"search", &SetUp::search},
      {"inspect", &SetUp::inspect},
      {"checkHead", &SetUp::checkHead},
      {"checkPictures", &SetUp::checkPictures},
      {"stopCheck", &SetUp::stopCheck},
      {"switchMetadataOn", &SetUp::switchMetadataOn},
      {"snapshot", &SetUp::takeSnapshot},
      {"headZoom", &SetUp::headZoom},
      {"useHead", &SetUp::useHead},
      {"useCamera", &SetUp::useCamera},
      {"removeCamera", &SetUp::removeCamera},
      {"useGeneral", &SetUp::useGeneral},
      {"view", &SetUp::view},
  };
  const auto found = METHODS.find(name);
  if (found == METHODS.end()) {
    throw BadRequest("There is no such method");
  }
  return found->second;
}

// A change may wait for a head to stop, while others ask.
WebAnswer SetUp::answer(const std::string& body) {
  if (std::exchange(isAnswering, true)) {
    return refusal(BUSY);
  }
  WebAnswer told = answerTo(body);
  isAnswering = false;
  return told;
}

void SetUp::useFollowing(const std::string& way) {
  if (isAnswering) {
    throw BadRequest(BUSY);
  }
  means.files.change(
      [&way](json_t* root) { json_object_set_new(root, "following", jsonText(way)); });
  settingsWritten();
}

void SetUp::stopForGood() {
  if (isChecking()) {
    check->stopForGood();
  }
}

WebAnswer SetUp::answerTo(const std::string& body) {
  try {
    const JsonAutoPtr request(
        json_loadb(body.data(), body.size(), JSON_REJECT_DUPLICATES, nullptr));
    if (!json_is_object(request.get())) {
      throw BadRequest("The body must be a JSON object");
    }
    const Method method = methodOf(textIn(request.get(), "method"));
    const JsonAutoPtr data = (this->*method)(json_object_get(request.get(), "params"));
    const JsonAutoPtr told(json_pack("{s:O}", "data", data.get()));
    return {SOUP_STATUS_OK, lineOf(told.get())};
  } catch (const std::exception& error) {  // whatever it is: others may ask after it
    return refusal(error.what());
  }
}

JsonAutoPtr SetUp::tell(const json_t*) {
  JsonAutoPtr data(json_object());
  json_object_set_new(data.get(), "missing", jsonText(means.files.getSettings().whatIsMissing()));
  json_object_set_new(data.get(), "settings", json_deep_copy(means.files.getJson()));
  json_object_set_new(data.get(), "search", searchJson());
  json_object_set_new(data.get(), "camera", cameraJson());
  json_object_set_new(data.get(), "check", checkJson());
  json_object_set_new(data.get(), "metadata",
                      json_pack("{s:b, s:o, s:b}", "running", isSwitching, "trouble",
                                jsonText(switchTrouble), "done", isSwitched));
  return data;
}

JsonAutoPtr SetUp::search(const json_t*) {
  if (!found->isRunning) {
    Search::start(found);
  }
  return nothing();
}

JsonAutoPtr SetUp::inspect(const json_t* params) {
  requireNoCheck();
  readLogin(params);
  survey();
  return nothing();
}

// The camera of the settings that is meant; null when none is.
const CameraAddress* SetUp::knownIn(const json_t* params) const {
  const BridgeSettings& settings = means.files.getSettings();
  const json_t* number = json_object_get(params, "camera");
  if (json_is_integer(number)) {
    const json_int_t index = json_integer_value(number) - 1;
    if (index < 0 || index >= static_cast<json_int_t>(settings.cameras.size())) {
      throw BadRequest("There is no such camera");
    }
    return &settings.cameras[static_cast<std::size_t>(index)].address;
  }
  return json_is_true(json_object_get(params, "head")) ? &settings.head.address : nullptr;
}

// Leaves everything as it was when it throws.
void SetUp::readLogin(const json_t* params) {
  const CameraAddress* known = knownIn(params);
  const std::string address = known != nullptr ? known->device : textIn(params, "address");
  const std::string user = textIn(params, "user");
  const std::string password = textIn(params, "password");
  std::string name = known != nullptr ? known->login : "";
  if (address.empty()) {
    throw BadRequest("Enter the camera's address");
  }
  const bool isNew = !user.empty();
  const std::string service = deviceAddressOf(address);
  if (isNew) {
    const std::size_t host = service.find("://") + 3;
    name = service.substr(host, service.find('/', host) - host);
  }
  onvif::Login next =
      isNew ? onvif::Login{user, password} : loginOf(means.files.getCredentials(), name);
  const onvif::CameraCalls probe(service, {});  // throws for what is no address
  device = service;
  loginName = std::move(name);
  login = std::move(next);
  isLoginNew = isNew;
}

void SetUp::survey() {
  snapshot.reset();
  switching.reset();
  isSwitching = false;
  isSnapshotDue = false;
  picture.clear();
  snapshotTrouble.clear();
  surveyTrouble.clear();
  abilities.reset();
  isSurveyed = false;
  surveying =
      std::make_unique<CameraSurvey>(device, login,
                                     CameraSurvey::Callbacks{[this](const CameraAbilities& can) {
                                                               abilities = can;
                                                               isSurveyed = true;
                                                             },
                                                             [this](const std::string& words) {
                                                               surveyTrouble = words;
                                                               isSurveyed = true;
                                                             }});
}

void SetUp::settingsWritten() {
  views.forget();
  means.changed();
}

JsonAutoPtr SetUp::checkHead(const json_t* params) {
  requireNoCheck();
  requireCamera();
  const MediaProfile& profile = profileIn(params);
  if (profile.ptz.empty() || !abilities->services.contains(onvif::ns::PTZ)) {
    throw BadRequest("This profile moves no head");
  }
  means.holdHead(true);  // whoever moves it has it stand before the check begins
  try {
    check = std::make_unique<HeadCheckRun>(device, login, *abilities, profile, wishesIn(params),
                                           [this] { means.holdHead(false); });
  } catch (...) {
    means.holdHead(false);
    throw;
  }
  checked = device;
  return nothing();
}

HeadCheck::Wishes SetUp::wishesIn(const json_t* params) const {
  const auto wished = [params](const char* key) {
    return json_is_true(json_object_get(params, key));
  };
  HeadCheck::Wishes wishes{wished("zoom"), wished("ends"), wished("sight"), {}};
  const JsonAutoPtr head(json_object());
  const BridgeSettings& settings = means.files.getSettings();
  if (settings.hasHead() && settings.head.address.device == device) {
    enter(head.get(), json_object_get(means.files.getJson(), "head"));
  }
  merge(head.get(), toldIn(params));
  json_object_set_new(head.get(), "address", jsonText(device));
  const bool isFieldKnown = json_object_get(head.get(), "field_angles") != nullptr;
  if (!isFieldKnown) {  // which the check is there to find out
    json_object_set_new(head.get(), "field_angles", json_pack("[f, f]", 1.0, 1.0));
  }
  const JsonAutoPtr root(json_pack("{s:O}", "head", head.get()));
  wishes.told = settingsOf(lineOf(root.get()), "What is entered").head.told;
  if (!isFieldKnown) {
    wishes.told.fieldAngles = {};
  }
  return wishes;
}

JsonAutoPtr SetUp::checkPictures(const json_t*) {
  const auto& sight = check ? check->getCheck().getMeasured().sight : std::nullopt;
  if (!sight || sight->after.empty()) {
    throw BadRequest("There are no pictures of a check");
  }
  const auto encoded = [](const std::string& jpeg) {
    const GTextPtr text(g_base64_encode(reinterpret_cast<const guchar*>(jpeg.data()), jpeg.size()));
    return jsonText(text.get());
  };
  return JsonAutoPtr(json_pack(
      "{s:{s:f, s:f}, s:{s:f, s:f}, s:f, s:o, s:o}", "from", "pan", sight->from.pan, "tilt",
      sight->from.tilt, "to", "pan", sight->to.pan, "tilt", sight->to.tilt, "field_angle",
      sight->fieldAngle, "before", encoded(sight->before), "after", encoded(sight->after)));
}

JsonAutoPtr SetUp::stopCheck(const json_t*) {
  if (isChecking()) {
    check->giveUp("It was ended");
  }
  return nothing();
}

JsonAutoPtr SetUp::switchMetadataOn(const json_t* params) {
  requireCamera();
  if (isSwitching) {
    throw BadRequest("This is being done");
  }
  const MediaProfile& profile = profileIn(params);
  isSwitching = true;
  isSwitched = false;
  switchTrouble.clear();
  switching = std::make_unique<MetadataSwitch>(device, login, *abilities, profile,
                                               [this](const std::string& words) {
                                                 isSwitching = false;
                                                 isSwitched = words.empty();
                                                 switchTrouble = words;
                                               });
  return nothing();
}

JsonAutoPtr SetUp::takeSnapshot(const json_t* params) {
  requireCamera();
  const MediaProfile& profile = profileIn(params);
  if (!std::exchange(isSnapshotDue, true)) {
    snapshot = std::make_unique<Snapshot>(
        device, login, *abilities, profile.token,
        Snapshot::Callbacks{[this](const std::string& jpeg) {
                              const GTextPtr text(g_base64_encode(
                                  reinterpret_cast<const guchar*>(jpeg.data()), jpeg.size()));
                              picture = text.get();
                              snapshotTrouble.clear();
                              isSnapshotDue = false;
                            },
                            [this](const std::string& words) {
                              snapshotTrouble = words;
                              isSnapshotDue = false;
                            }});
  }
  return JsonAutoPtr(json_pack("{s:b, s:o, s:o}", "running", isSnapshotDue, "trouble",
                               jsonText(snapshotTrouble), "jpeg",
                               picture.empty() ? json_null() : jsonText(picture)));
}

JsonAutoPtr SetUp::view(const json_t* params) {
  const CameraAddress* known = knownIn(params);
  if (known == nullptr || known->device.empty()) {
    throw BadRequest("Say which camera of those that are set up");
  }
  const CameraViews::View& seen =
      views.look(*known, loginOf(means.files.getCredentials(), known->login),
                 json_is_true(json_object_get(params, "head")));
  const bool isNew = seen.number > json_integer_value(json_object_get(params, "have"));
  return JsonAutoPtr(json_pack("{s:I, s:o, s:o}", "number", static_cast<json_int_t>(seen.number),
                               "trouble", jsonText(seen.trouble), "jpeg",
                               isNew ? jsonText(seen.jpeg) : json_null()));
}

JsonAutoPtr SetUp::headZoom(const json_t*) {
  const auto zoom = means.zoomTold();
  return JsonAutoPtr(json_pack("{s:o, s:s}", "position",
                               zoom ? json_real(zoom->position) : json_null(), "unit",
                               zoom && zoom->isInMillimetres ? "millimetres" : "generic"));
}

JsonAutoPtr SetUp::useHead(const json_t* params) {
  requireNoCheck();
  requireCamera();
  const json_t* told = toldIn(params);
  const JsonAutoPtr place(placeOfCamera(profileIn(params).token));
  const json_t* former = json_object_get(means.files.getJson(), "head");
  const bool isSame =
      isAlike(place.get(), former, "address") && isAlike(place.get(), former, "profile");
  const JsonAutoPtr head(isSame ? json_deep_copy(former) : json_object());
  enter(head.get(), place.get());
  if (check && checked == device) {
    const JsonAutoPtr measured(foundBy(check->getCheck()));
    merge(head.get(), measured.get());
  }
  merge(head.get(), told);  // what was cleared stays so, whatever was measured
  means.files.change([&](json_t* root) { json_object_set(root, "head", head.get()); },
                     newCredentials());
  checked.clear();  // from here on the settings have it, and the user may change it there
  settingsWritten();
  return nothing();
}

JsonAutoPtr SetUp::useCamera(const json_t* params) {
  if (json_object_get(params, "number") != nullptr) {
    changeCamera(params);
  } else {
    requireCamera();
    addCamera(params);
  }
  settingsWritten();
  return nothing();
}

void SetUp::addCamera(const json_t* params) {
  const MediaProfile& profile = profileIn(params);
  const JsonAutoPtr camera(placeOfCamera(profile.token));
  if (profile.pictureWidth > 0 && profile.pictureHeight > 0) {
    json_object_set_new(camera.get(), "picture",
                        json_pack("[i, i]", profile.pictureWidth, profile.pictureHeight));
  }
  merge(camera.get(), toldIn(params));
  means.files.change(
      [&](json_t* root) {
        if (json_object_get(root, "cameras") == nullptr) {
          json_object_set_new(root, "cameras", json_array());
        }
        json_array_append(json_object_get(root, "cameras"), camera.get());
      },
      newCredentials());
}

void SetUp::changeCamera(const json_t* params) {
  const json_t* told = toldIn(params);
  const json_int_t number = json_integer_value(json_object_get(params, "number"));
  means.files.change([&](json_t* root) {
    json_t* camera = json_array_get(json_object_get(root, "cameras"),
                                    static_cast<std::size_t>(std::max<json_int_t>(number, 0) - 1));
    if (camera == nullptr) {
      throw BadRequest("There is no such camera");
    }
    merge(camera, told);
  });
}

JsonAutoPtr SetUp::removeCamera(const json_t* params) {
  const json_int_t number = json_integer_value(json_object_get(params, "number"));
  means.files.change([&](json_t* root) {
    if (number < 1 || json_array_remove(json_object_get(root, "cameras"),
                                        static_cast<std::size_t>(number - 1)) != 0) {
      throw BadRequest("There is no such camera");
    }
  });
  settingsWritten();
  return nothing();
}

JsonAutoPtr SetUp::useGeneral(const json_t* params) {
  const JsonAutoPtr told(json_deep_copy(toldIn(params)));
  for (const char* part : {"head", "cameras"}) {
    json_object_del(told.get(), part);
  }
  means.files.change([&](json_t* root) { merge(root, told.get()); });
  settingsWritten();
  return nothing();
}

json_t* SetUp::searchJson() const {
  json_t* cameras = json_array();
  for (const onvif::FoundCamera& camera : found->cameras) {
    json_array_append_new(cameras, json_pack("{s:o, s:o, s:o}", "name", jsonText(camera.name),
                                             "hardware", jsonText(camera.hardware), "address",
                                             jsonText(camera.addresses.front())));
  }
  return json_pack("{s:b, s:o}", "running", found->isRunning, "cameras", cameras);
}

json_t* SetUp::cameraJson() const {
  if (device.empty()) {
    return json_null();
  }
  const bool isInDegrees = abilities && onvif::findSpace(abilities->head.positions,
                                                         onvif::space::POSITION_DEGREES) != nullptr;
  return json_pack("{s:b, s:b, s:o, s:o, s:o, s:o}", "running", !isSurveyed, "degrees", isInDegrees,
                   "address", jsonText(device), "trouble", jsonText(surveyTrouble), "words",
                   textsJson(abilities ? wordsOf(*abilities) : std::vector<std::string>()),
                   "profiles",
                   profilesJson(abilities ? abilities->profiles : std::vector<MediaProfile>()));
}

json_t* SetUp::checkJson() const {
  if (!check) {
    return json_null();
  }
  const HeadCheck& state = check->getCheck();
  const auto& sight = state.getMeasured().sight;
  return json_pack("{s:b, s:b, s:o, s:o, s:o, s:o}", "running", !state.isOver(), "sight",
                   sight && !sight->after.empty(), "step", jsonText(state.presentStep()), "trouble",
                   jsonText(state.getTrouble()), "words", textsJson(wordsOf(state.getMeasured())),
                   "found", foundBy(state));
}

// Address, login and profile, as the settings have them.
json_t* SetUp::placeOfCamera(const std::string& profile) const {
  json_t* place =
      json_pack("{s:o, s:o}", "address", jsonText(device), "profile", jsonText(profile));
  if (!loginName.empty()) {
    json_object_set_new(place, "login", jsonText(loginName));
  }
  return place;
}

Credentials SetUp::newCredentials() const {
  return isLoginNew ? Credentials{{loginName, login}} : Credentials();
}

void SetUp::requireCamera() const {
  if (!abilities) {
    throw BadRequest("Say first which camera");
  }
}

void SetUp::requireNoCheck() const {
  if (isChecking()) {
    throw BadRequest("The head is being checked");
  }
}

const MediaProfile& SetUp::profileIn(const json_t* params) const {
  const MediaProfile* profile = abilities->profileOf(textIn(params, "profile"));
  if (profile == nullptr) {
    throw BadRequest("The camera has no such profile");
  }
  return *profile;
}

bool SetUp::isChecking() const {
  return check && !check->getCheck().isOver();
}

}  // namespace device::bridge
