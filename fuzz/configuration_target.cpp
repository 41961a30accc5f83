// The configuration document: what is accepted, and the guards that are built of it.
#include <jansson.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/json_auto_ptr.h"
#include "base/json_text.h"
#include "camera/configuration_parser.h"
#include "config/constants.h"
#include "fuzz/configuration_rules.h"
#include "fuzz/daemon.h"
#include "fuzz/require.h"
#include "tracker/tracker_guard_factory.h"

namespace {

using fuzz::decode;
using fuzz::require;

// With a head of its own, so that profiles may be bound to presets.
const fuzz::DeviceFacts DEVICE{.cameras = 2, .hasPresets = true, .profilesPerCamera = 3};

using Parser = ConfigurationParser<TrackerGuardFactory>;

const DataBoundaries BOUNDARIES;

void checkStatus(const Parser& parser, int status, const json_t* document) {
  require(status == static_cast<int>(parser.status()), "the status is kept");
  require((status == 2) == (document == nullptr), "what is no JSON is told as that");
  require(status == 0 || status == 2 || status == 4 || status == 8 || status == 16,
          "a document is accepted or refused with one of four reasons");
  require((status == 0) == fuzz::isAcceptable(document, DEVICE),
          "what the rules accept is accepted, and nothing else", std::to_string(status));
}

void checkGuards(const CameraConfiguration& camera, std::vector<fuzz::ProfileFacts> profiles) {
  std::erase_if(profiles,
                [&camera](const auto& profile) { return profile.camera != camera.cameraNbr; });
  require(camera.guards.size() == profiles.size(), "every profile has its guard");
  for (std::size_t i = 0; i < profiles.size(); ++i) {
    const Guard& guard = *camera.guards[i];
    require(guard.getUid() == profiles[i].uid && guard.getPriority() == profiles[i].priority &&
                guard.getName() == profiles[i].name && guard.getCamera() == profiles[i].camera,
            "a guard is that of its profile");
  }
}

// A refused document gives no cameras.
void checkConfigurations(const CameraConfigurationContainer& made, const json_t* document) {
  const std::vector<fuzz::CameraFacts> cameras =
      document != nullptr ? fuzz::activeCamerasOf(document) : std::vector<fuzz::CameraFacts>();
  require(made.getConfigurations().size() == cameras.size(), "there are the cameras in use");
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    const CameraConfiguration& camera = made.getConfigurations()[i];
    require(camera.cameraNbr == cameras[i].id && camera.rotation == cameras[i].rotation,
            "a camera is that of the document");
    checkGuards(camera, fuzz::profilesOf(document));
  }
}

// An accepted document is stored with rounded numbers, and read at the next start.
void checkStored(Parser& parser, const json_t* document) {
  const std::string text = toText(document, constants::JSON_DUMP_FLAGS);
  require(!text.empty(), "an accepted document can be written");
  if (!decode(text)) {
    return;  // a number beyond all numbers: it is not stored
  }
  require(parser.parse(text, BOUNDARIES) == 0, "what was accepted is so at the next start", text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const JsonAutoPtr document = decode(text);
  Daemon daemon(DEVICE);
  Parser parser;
  const int status = parser.parse(text, BOUNDARIES);
  checkStatus(parser, status, document.get());
  {
    CameraConfigurationContainer made = parser.createConfigurations();
    checkConfigurations(made, status == 0 ? document.get() : nullptr);
    daemon.getCameras().updateWithNewConfiguration(std::move(made));
  }
  checkConfigurations(parser.createConfigurations(), status == 0 ? document.get() : nullptr);
  if (status == 0) {
    checkStored(parser, document.get());
  }
  parser.clear();
  require(parser.createConfigurations().getConfigurations().empty(), "nothing is left");
  return 0;
}
