#include "onvif_server/onvif_camera.h"

#include <glib.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "base/glib_ptr.h"
#include "base/units.h"
#include "onvif_server/metadata.h"
#include "picture/jpeg.h"
#include "picture/painter.h"

namespace device::onvif {
namespace {

constexpr char DEVICE_PATH[] = "/onvif/device_service";
constexpr char VERSION[] = "1.0.0";
constexpr std::int64_t STATE_PERIOD = 100000;            // microseconds
constexpr std::int64_t SILENCE = units::fromSeconds(1);  // at most, while nothing changes
constexpr std::size_t HEAD_STREAM = 0;

// The same for a device of this machine at this port, whenever it starts.
std::string stableUuid(std::uint16_t port) {
  const std::string name = std::string(g_get_host_name()) + ':' + std::to_string(port);
  const GTextPtr digest(g_compute_checksum_for_string(G_CHECKSUM_SHA1, name.c_str(), -1));
  std::string text(digest.get(), 32);
  text[12] = '5';  // made of a name
  text[16] = '8';
  for (const std::size_t dash : {8, 13, 18, 23}) {
    text.insert(dash, "-");
  }
  return text;
}

PictureStreams::Readers commonOf(const PictureStreams::Readers& one,
                                 const PictureStreams::Readers& other) {
  PictureStreams::Readers both;
  std::ranges::set_intersection(one, other, std::inserter(both, both.end()));
  return both;
}

PictureStreams::Readers without(const PictureStreams::Readers& all,
                                const PictureStreams::Readers& some) {
  PictureStreams::Readers rest;
  std::ranges::set_difference(all, some, std::inserter(rest, rest.end()));
  return rest;
}

DeviceIdentity identityOf(const Model& model, std::uint16_t port) {
  const auto product = model.parameters.find("root.Brand.ProdNbr");
  const std::string uuid = stableUuid(port);
  return {.model = product != model.parameters.end() ? product->second : "virtual",
          .version = VERSION,
          .serial = uuid.substr(uuid.size() - 12),
          .address = "urn:uuid:" + uuid};
}

}  // namespace

OnvifCamera::OnvifCamera(const OnvifOptions& options, OnvifSources given)
    : sources(std::move(given)),
      profiles(cameraProfiles(sources.model, sources.world)),
      faults(sources.world.channelCount()),
      streamFaults(options.faults ? std::make_shared<StreamFaults>(streamCount()) : nullptr),
      server(options, operations, {}, manners()),
      streams(streamOptions(options), streamSetups(),
              [this](std::size_t stream) { return sceneOf(profiles[stream]); }),
      identity(identityOf(sources.model, server.port())),
      device(identity, [this] { return wallClock(); }),
      media(
          profiles, sources.model.head,
          [this](const CameraProfile& profile, const std::string& host) {
            return streamUri(profile, host);
          },
          [this](const std::string& configuration) { return events.rulesOf(configuration); }),
      ptz(profiles, sources.drive, [this] { return wallClock(); }),
      events(sources.events),
      analytics(profiles,
                [this](const std::string& configuration) { return events.rulesOf(configuration); }),
      faultyServices(faults, sources.drive),
      stateTimer(STATE_PERIOD, [this] { tellStates(); }) {
  addOperations();
  setFaults(OnvifFaults::namesIn(options.faults.value_or("")));
  media.onSynchronize([this](const CameraProfile& profile) { synchronize(profile); });
  events.observe([this](const auto& notifications) { tellEvents(notifications); });
  events.namePresets([this](int preset) { return ptz.nameOf(preset); });
  beFound();
}

void OnvifCamera::addOperations() {
  device.addTo(operations);
  media.addTo(operations);
  ptz.addTo(operations);
  events.addTo(operations);
  analytics.addTo(operations);
  operations.setDocuments({MediaOperations::SNAPSHOT_ROOT, "image/jpeg",
                           [this](const std::string& token) { return snapshot(token); }});
  if (streamFaults) {
    faultyServices.cover(operations);
    ptz.claimMotion([this] { return faults.ofHead("always-moving"); });
  }
}

SoapManners OnvifCamera::manners() const {
  if (!streamFaults) {
    return {};
  }
  return {.clock = [this] { return wallClock(); },
          .takesTokens = [this] { return !faults.ofCamera("digest-only"); },
          .knowsUser = [this] { return !faults.ofCamera("password-changed"); },
          .isThere = [this] { return !faults.ofCamera("away"); }};
}

std::int64_t OnvifCamera::wallClock() const {
  constexpr std::int64_t HOUR = units::fromSeconds(3600);
  return g_get_real_time() + (faults.ofCamera("clock-ahead") ? HOUR : 0);
}

// Who has been let in with a password that is good no more, or by a camera that has gone, is put
// out.
void OnvifCamera::setFaults(const std::vector<std::string>& names) {
  if (!streamFaults) {
    return;
  }
  faults.set(names);
  const bool wasOpen = !streamFaults->isAway && !streamFaults->isUserForgotten;
  streamFaults->isAway = faults.ofCamera("away");
  streamFaults->isUserForgotten = faults.ofCamera("password-changed");
  for (std::size_t i = 0; i < streamCount(); ++i) {
    StreamFaults::Stream& stream = streamFaults->streams[i];
    const int number = profiles[i].camera;
    stream.hasSmallPackets = faults.ofOverview(number, "small-packets");
    stream.losesPackets = faults.ofOverview(number, "loses-packets");
    stream.closes = faults.ofOverview(number, "closes");
  }
  if (wasOpen && (streamFaults->isAway || streamFaults->isUserForgotten)) {
    streams.endConnections();
  }
}

std::string OnvifCamera::url() const {
  const std::string& address = server.getAddress();
  const bool bracketed = address.find(':') != std::string::npos;
  return "http://" + (bracketed ? '[' + address + ']' : address) + ':' + std::to_string(port()) +
         DEVICE_PATH;
}

std::optional<std::string> OnvifCamera::snapshot(const std::string& token) {
  const auto profile = std::ranges::find(profiles, token, &CameraProfile::token);
  if (profile == profiles.end()) {
    return std::nullopt;
  }
  const double now = sources.seconds();
  Shot& shot = shots[profile->picture()];
  if (shot.jpeg.empty() || now - shot.time >= SHOT_PERIOD) {
    shot = {now, paintedFor(*profile)};
  }
  return shot.jpeg;
}

std::string OnvifCamera::paintedFor(const CameraProfile& profile) const {
  const OverviewCamera camera = cameraOf(profile);
  Picture picture = paint(camera, thingsBefore(camera), profile.width, profile.height);
  expose(lightAt(sources.seconds()), static_cast<std::uint32_t>(g_get_monotonic_time()), &picture);
  return jpegOf(picture);
}

Things OnvifCamera::thingsBefore(const OverviewCamera& camera) const {
  const double now = sources.seconds();
  Things things{.scenery = sources.world.getScenery(),
                .figures = sources.world.figures(camera, now)};
  for (const PersonView& view : sources.world.people(now)) {
    Person& person = things.people.emplace_back();
    person.id = view.id;
    person.position = view.position;
    person.height = view.tall;
  }
  return things;
}

StreamOptions OnvifCamera::streamOptions(const OnvifOptions& options) const {
  return {.address = options.address,
          .port = options.port == 0 ? std::uint16_t{0} : STREAM_PORT,
          .user = options.user,
          .framesPerSecond = FRAMES_PER_SECOND,
          .faults = streamFaults};
}

std::vector<StreamSetup> OnvifCamera::streamSetups() const {
  std::vector<StreamSetup> setups;
  for (std::size_t stream = 0; stream < streamCount(); ++stream) {
    const CameraProfile& profile = profiles[stream];
    setups.push_back({profile.picture(), profile.width, profile.height});
  }
  return setups;
}

// Each offers every encoding.
std::size_t OnvifCamera::streamCount() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      profiles, [](const CameraProfile& profile) { return !profile.isJpeg(); }));
}

StreamScene OnvifCamera::sceneOf(const CameraProfile& profile) const {
  OverviewCamera camera = cameraOf(profile);
  Things things = thingsBefore(camera);
  return {std::move(camera), std::move(things), g_get_monotonic_time(), lightAt(sources.seconds())};
}

// The host's name without its port.
std::string OnvifCamera::streamUri(const CameraProfile& profile, const std::string& host) const {
  const std::string name = host.substr(0, host.rfind(':'));
  std::string path = profile.stream();
  if (faults.ofCamera("no-picture")) {
    path = profile.picture() + "/metadata";
  }
  path += faults.ofOverview(profile.camera, "gzip") ? "/gzip" : "";
  return "rtsp://" + name + ':' + std::to_string(streams.port()) + '/' + path;
}

// As the camera really hangs, and the head really looks.
OverviewCamera OnvifCamera::cameraOf(const CameraProfile& profile) const {
  if (!profile.isHead()) {
    return sources.world.camera(profile.camera - 1);
  }
  const HeadStatus head = sources.drive.getHead().status();
  return OverviewCamera({.position = {0, 0, sources.model.world.mastHeight},
                         .pan = head.pan,
                         .tilt = head.tilt,
                         .sensorWidth = profile.width,
                         .sensorHeight = profile.height,
                         .horizontalFov = head.pictureWidth,
                         .distortion = {}});
}

void OnvifCamera::frame(int channel, const Frame& frame) {
  const auto stream = static_cast<std::size_t>(channel) + 1;
  if (!streams.isRead(stream)) {
    return;
  }
  const std::int64_t age = g_get_monotonic_time() - frame.timestamp;
  const FaultyReports::Report report = faultyReports.told(channel + 1, frame);
  streams.tell(stream,
               analyticsDocument(report.frame, sources.world.camera(channel), wallClock() - age,
                                 report.manner),
               g_get_monotonic_time());
}

// Whoever begins to play is told the present state of all properties, as at a new pull point. Those
// who watch already are told again, which changes nothing for them. Who stands, or has not quite
// begun, is told when it runs.
void OnvifCamera::tellStates() {
  for (const std::size_t stream : streams.takeBegun()) {
    untold[stream] = streams.readers(stream);
  }
  for (auto& [stream, readers] : untold) {
    tellPresent(stream, &readers);
  }
  std::erase_if(untold, [](const auto& each) { return each.second.empty(); });
  tellHead();
}

// Leaves those who have still to be told.
void OnvifCamera::tellPresent(std::size_t stream, PictureStreams::Readers* to) {
  const PictureStreams::Readers now = commonOf(*to, streams.hearers(stream));
  if (!now.empty()) {
    const std::vector<Notification> present = events.present();
    const auto told =
        present.empty() ? now
                        : streams.tell(stream, eventDocument(present), g_get_monotonic_time(), now);
    *to = without(*to, told);
  }
  *to = commonOf(*to, streams.readers(stream));
}

// Who begins does not wait for the next change. All others are told what they do not know.
void OnvifCamera::tellHead() {
  const PictureStreams::Readers hearers = streams.hearers(HEAD_STREAM);
  const std::int64_t now = g_get_monotonic_time();
  const std::string state = ptzDocument(ptz.statusTag("tt:PTZStatus", false));
  if (state != toldHead || now - toldHeadTime >= SILENCE) {
    toldHead = state;
    toldHeadTime = now;
    toldHeadTo.clear();
  }
  const PictureStreams::Readers untoldOnes = without(hearers, toldHeadTo);
  if (!untoldOnes.empty()) {
    toldHeadTo.merge(streams.tell(HEAD_STREAM, ptzDocument(ptz.statusTag("tt:PTZStatus", true)),
                                  now, untoldOnes));
  }
}

void OnvifCamera::tellEvents(const std::vector<Notification>& notifications) {
  for (std::size_t stream = 0; stream < streamCount(); ++stream) {
    if (streams.isRead(stream)) {
      streams.tell(stream, eventDocument(notifications), g_get_monotonic_time());
    }
  }
}

// Pictures that stand alone, and the head's status, come every second by themselves.
void OnvifCamera::synchronize(const CameraProfile& profile) {
  for (std::size_t stream = 0; stream < streamCount(); ++stream) {
    if (profiles[stream].picture() == profile.picture()) {
      untold[stream] = streams.readers(stream);
    }
  }
}

void OnvifCamera::beFound() {
  try {
    discovery = std::make_unique<DiscoveryResponder>(server.getAddress(), port(), DEVICE_PATH,
                                                     identity.address, scopesOf(identity));
  } catch (const std::runtime_error& error) {
    sources.announce(error.what());
  }
}

}  // namespace device::onvif
