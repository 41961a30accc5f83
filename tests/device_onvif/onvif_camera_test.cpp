#include "onvif_server/onvif_camera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/source_folder.h"
#include "device_services/private_bus.h"
#include "device_web/web_client.h"

namespace device::onvif {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class OnvifCameraTest : public testing::Test {
 protected:
  OnvifCameraTest() : model(loadModel(modelsFolder(), "ideal")) {}

  void start(const std::string& address) {
    options.address = address;
    camera = std::make_unique<OnvifCamera>(
        options, OnvifSources{model, world, drive, events,
                              [this](const std::string& text) { announced.push_back(text); }});
  }

  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  EventService events{connection.get()};
  Model model;
  World world{model.world, {}};
  HeadDrive drive{model.head, g_get_monotonic_time};
  OnvifOptions options;
  std::vector<std::string> announced;
  std::unique_ptr<OnvifCamera> camera;
};

TEST_F(OnvifCameraTest, AllServicesAreBehindOneAddress) {
  start("127.0.0.1");
  EXPECT_EQ("http://127.0.0.1:" + std::to_string(camera->port()) + "/onvif/device_service",
            camera->url());
  for (const char* operation :
       {"<GetScopes xmlns=\"http://www.onvif.org/ver10/device/wsdl\"/>",
        "<GetProfiles xmlns=\"http://www.onvif.org/ver10/media/wsdl\"/>",
        "<GetProfiles xmlns=\"http://www.onvif.org/ver20/media/wsdl\"/>",
        "<GetNodes xmlns=\"http://www.onvif.org/ver20/ptz/wsdl\"/>",
        "<GetEventProperties xmlns=\"http://www.onvif.org/ver10/events/wsdl\"/>"}) {
    WebClient client(camera->port());
    client.request("POST", "/onvif/device_service",
                   std::string("<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\">"
                               "<s:Body>") +
                       operation + "</s:Body></s:Envelope>");
    EXPECT_EQ(200, client.response().status) << operation;
  }
}

TEST_F(OnvifCameraTest, WithoutDiscoveryItGoesOn) {
  start("::1");
  EXPECT_THAT(camera->url(), StartsWith("http://[::1]:"));
  EXPECT_THAT(announced,
              ElementsAre(HasSubstr("Discovery: cannot use any address but one of IPv4")));
}

TEST_F(OnvifCameraTest, ProfilesAreTheHeadAndEveryOverviewCameraInItsProportions) {
  const std::vector<CameraProfile> profiles = cameraProfiles(model, world);
  ASSERT_EQ(5U, profiles.size());
  EXPECT_EQ("head", profiles[0].token);
  EXPECT_EQ("overview4", profiles[4].token);
  EXPECT_EQ(1280, profiles[1].width);
  EXPECT_EQ(720, profiles[1].height);
  const Model rotated = loadModel(modelsFolder(), "rotated");
  const World upright(rotated.world, {});
  EXPECT_EQ(720, cameraProfiles(rotated, upright)[1].width);
  EXPECT_EQ(1280, cameraProfiles(rotated, upright)[1].height);
}

}  // namespace
}  // namespace device::onvif
