#include "onvif_server/onvif_camera.h"

#include <glib.h>

#include <stdexcept>

#include "base/glib_ptr.h"

namespace device::onvif {
namespace {

constexpr char DEVICE_PATH[] = "/onvif/device_service";
constexpr char VERSION[] = "1.0.0";

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

DeviceIdentity identityOf(const Model& model, std::uint16_t port) {
  const auto product = model.parameters.find("root.Brand.ProdNbr");
  const std::string uuid = stableUuid(port);
  return {.model = product != model.parameters.end() ? product->second : "virtual",
          .version = VERSION,
          .serial = uuid.substr(uuid.size() - 12),
          .address = "urn:uuid:" + uuid};
}

}  // namespace

OnvifCamera::OnvifCamera(const OnvifOptions& options, const OnvifSources& sources)
    : profiles(cameraProfiles(sources.model, sources.world)),
      server(options, operations),
      identity(identityOf(sources.model, server.port())),
      device(identity),
      media(profiles, sources.model.head,
            [](const CameraProfile&, const std::string&) { return ""; }),
      ptz(profiles, sources.drive, g_get_real_time),
      events(sources.events) {
  device.addTo(operations);
  media.addTo(operations);
  ptz.addTo(operations);
  events.addTo(operations);
  beFound(identity, sources);
}

std::string OnvifCamera::url() const {
  const std::string& address = server.getAddress();
  const bool bracketed = address.find(':') != std::string::npos;
  return "http://" + (bracketed ? '[' + address + ']' : address) + ':' + std::to_string(port()) +
         DEVICE_PATH;
}

void OnvifCamera::beFound(const DeviceIdentity& identity, const OnvifSources& sources) {
  try {
    discovery = std::make_unique<DiscoveryResponder>(server.getAddress(), port(), DEVICE_PATH,
                                                     identity.address, scopesOf(identity));
  } catch (const std::runtime_error& error) {
    sources.announce(error.what());
  }
}

}  // namespace device::onvif
