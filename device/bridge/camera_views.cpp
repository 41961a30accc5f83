#include "bridge/camera_views.h"

#include <glib.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "base/glib_ptr.h"
#include "bridge/growing_pause.h"
#include "bridge/snapshot.h"

namespace device::bridge {

namespace {

using onvif::MediaProfile;

constexpr char NO_PROFILE[] = "The camera has no profile with a picture that fits";

// The one that CameraLink takes, too.
const MediaProfile* profileOf(const CameraAbilities& abilities, const std::string& token,
                              bool isHead) {
  if (!token.empty()) {
    return abilities.profileOf(token);
  }
  if (isHead) {
    return abilities.headProfile();
  }
  const auto found = std::ranges::find_if(abilities.profiles, [](const MediaProfile& profile) {
    return profile.hasSource && profile.hasAnalytics;
  });
  return found == abilities.profiles.end() ? nullptr : &*found;
}

}  // namespace

// One camera. What fetches is replaced by the next look only, never while it calls back.
class CameraViews::Watch {
 public:
  Watch(CameraAddress address, onvif::Login login, bool isHead)
      : address(std::move(address)), login(std::move(login)), isHead(isHead) {}

  const View& look() {
    if (!isUnderWay && g_get_monotonic_time() >= due) {
      fetch();
    }
    return view;
  }

 private:
  void fetch() {
    isUnderWay = true;
    if (!abilities) {
      survey = std::make_unique<CameraSurvey>(
          address.device, login,
          CameraSurvey::Callbacks{[this](const CameraAbilities& can) { surveyed(can); },
                                  [this](const std::string& words) { failed(words); }});
      return;
    }
    snapshot = std::make_unique<Snapshot>(
        address.device, login, *abilities, profile,
        Snapshot::Callbacks{[this](const std::string& jpeg) { came(jpeg); },
                            [this](const std::string& words) { failed(words); }});
  }

  void surveyed(const CameraAbilities& can) {
    const MediaProfile* chosen = profileOf(can, address.profile, isHead);
    if (chosen == nullptr) {
      return failed(NO_PROFILE);
    }
    abilities = can;
    profile = chosen->token;
    isUnderWay = false;
  }

  void came(const std::string& jpeg) {
    const GTextPtr text(g_base64_encode(reinterpret_cast<const guchar*>(jpeg.data()), jpeg.size()));
    view.jpeg = text.get();
    ++view.number;
    view.trouble.clear();
    pause.succeeded();
    isUnderWay = false;
  }

  // A camera that has started anew may have moved its services.
  void failed(const std::string& words) {
    view.trouble = words;
    abilities.reset();
    due = g_get_monotonic_time() + pause.next();
    isUnderWay = false;
  }

  CameraAddress address;
  onvif::Login login;
  bool isHead;
  View view;
  bool isUnderWay = false;
  std::int64_t due = 0;  // monotonic microseconds
  GrowingPause pause;
  std::optional<CameraAbilities> abilities;
  std::string profile;
  std::unique_ptr<CameraSurvey> survey;
  std::unique_ptr<Snapshot> snapshot;
};

CameraViews::CameraViews() = default;

CameraViews::~CameraViews() = default;

const CameraViews::View& CameraViews::look(const CameraAddress& address, const onvif::Login& login,
                                           bool isHead) {
  std::unique_ptr<Watch>& watch = watches[address.device + " " + address.profile];
  if (!watch) {
    watch = std::make_unique<Watch>(address, login, isHead);
  }
  return watch->look();
}

void CameraViews::forget() {
  watches.clear();
}

}  // namespace device::bridge
