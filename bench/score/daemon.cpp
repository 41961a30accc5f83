#include "score/daemon.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "addon/libs/vigil_pack_lib/factory/tracker_default_config_creator.h"
#include "app/api_version_handler.h"
#include "app/interval_timer_observable.h"
#include "base/json_text.h"
#include "camera/callback_camera.h"
#include "camera/configuration_parser.h"
#include "config/constants.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "config/persistent.h"
#include "events/sdk_wrapper.h"
#include "scene/scene_properties.h"
#include "tracker/tracker_guard_factory.h"

namespace score {

namespace {

constexpr int TIMER_TICK = 10000;  // microseconds
constexpr std::int32_t PROPERTIES = SCENE_POLYGON | SCENE_VELOCITY | SCENE_CONFIDENCE;
constexpr std::array VERSIONS{constants::API_VERSION_1_0};

using Parser = ConfigurationParser<TrackerGuardFactory>;

// Frames come to its cameras by hand.
class Cameras : public CameraContainer {
 public:
  Cameras() : CameraContainer(API_VersionHandler(VERSIONS.data(), VERSIONS.size()), PROPERTIES) {}

  static Camera* find(int number) {
    const auto found = std::ranges::find_if(
        s_cameras, [number](const auto& camera) { return camera->getCameraNbr() == number; });
    return found == s_cameras.end() ? nullptr : found->get();
  }

 protected:
  void createCamera(int cameraNbr, int rotation, const API_VersionHandler&,
                    int propertyMask) override {
    insertCamera(std::make_unique<CallbackCamera>(cameraNbr, rotation, readAspectRatio(cameraNbr),
                                                  propertyMask,
                                                  StartupPosition{s_lastPreset, s_lastMovement}));
  }
  void shutDownSub() override {}
};

CameraConfigurationContainer parse(const std::string& document) {
  Parser parser;
  if (parser.parse(document, DataBoundaries()) != 0) {
    throw std::runtime_error("The daemon refuses the configuration, status " +
                             std::to_string(static_cast<int>(parser.status())));
  }
  return parser.createConfigurations();
}

}  // namespace

Daemon::Daemon(const std::filesystem::path& localdata) {
  Persistent::setPathForTest((localdata / "sentrelvideo.json").string());
  IntervalTimerObservable::initialize(TIMER_TICK);
  sdk_wrapper_init(constants::APP_NAME, constants::APP_NAME, "MiruPlatform");
  cameras = std::make_unique<Cameras>();
  tracker = &Tracker::getInstance();
}

Daemon::~Daemon() {
  cameras->shutDown();
  cameras.reset();
  Tracker::releaseInstance();
  sdk_wrapper_cleanup();
  IntervalTimerObservable::deinitialize();
  Persistent::setPathForTest("");
}

std::string Daemon::defaultConfiguration() {
  const API_VersionHandler versions(VERSIONS.data(), VERSIONS.size());
  const JsonAutoPtr document = TrackerDefaultConfigCreator(false).create(
      DefaultValues(), versions.getHighestSupportedVersion().toString());
  return toText(document.get(), JSON_REAL_PRECISION(4));
}

void Daemon::configure(const std::string& document) {
  cameras->updateWithNewConfiguration(parse(document));
}

void Daemon::configureCamera(int camera, const std::optional<std::string>& document) {
  CameraConfiguration configuration(camera, 0, {});
  if (document) {
    auto parsed = parse(*document);
    for (CameraConfiguration& one : parsed.getConfigurations()) {
      if (one.cameraNbr == camera) {
        configuration = std::move(one);
      }
    }
  }
  if (Camera* known = Cameras::find(camera)) {
    known->updateWithNewConfiguration(configuration);
  }
}

void Daemon::receive(int camera, std::span<const std::uint8_t> frame) {
  Camera* receiver = Cameras::find(camera);
  if (receiver == nullptr) {
    return;
  }
  SceneFrame received;
  received.data.reset(static_cast<char*>(std::malloc(frame.size())));
  std::memcpy(received.data.get(), frame.data(), frame.size());
  received.size = frame.size();
  receiver->handleMoteData(std::move(received));
}

}  // namespace score
