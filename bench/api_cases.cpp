// The API: a request from its entry to its answer, the configuration's file included.
#include <ovhttp.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "app/api_version_handler.h"
#include "bench/case.h"
#include "bench/surroundings.h"
#include "camera/camera_container.h"
#include "camera/configuration_parser.h"
#include "cgi/cgi_callback.h"
#include "cgi/tracker_cgi_handler.h"
#include "config/constants.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "fakes/fake_http.h"
#include "support/temporary_folder.h"
#include "tracker/tracker.h"
#include "tracker/tracker_guard_factory.h"

namespace bench {

namespace {

constexpr std::int32_t MASK = 14;
constexpr std::array VERSIONS{constants::API_VERSION_1_0};

// One that gets no frames.
class IdleCamera : public Camera {
 public:
  IdleCamera(std::int32_t number, std::int32_t rotation)
      : Camera(number, rotation, 16.0F / 9.0F, MASK, StartupPosition{}) {}

  void handleMoteData(SceneFrame) override {}
};

class IdleContainer : public CameraContainer {
 public:
  explicit IdleContainer(const API_VersionHandler& versions) : CameraContainer(versions, MASK) {}

 protected:
  void createCamera(int number, int rotation, const API_VersionHandler&, int) override {
    insertCamera(std::make_unique<IdleCamera>(number, rotation));
  }
  void shutDownSub() override {}
};

std::string toRequest(const std::string& method, const std::string& params) {
  return R"({"apiVersion":"1.0","context":"bench","method":")" + method + R"(","params":)" +
         params + "}";
}

// Camera 1 with three profiles as the page makes them.
std::string threeProfiles() {
  std::string profiles;
  for (int uid = 1; uid <= 3; ++uid) {
    profiles += std::string(uid == 1 ? "" : ",") + R"({"uid":)" + std::to_string(uid) +
                R"(,"camera":1,"name":"Profile )" + std::to_string(uid) +
                R"(","priority":1,"triggers":[{"type":"includeArea","data":)"
                R"([[-0.97,-0.97],[-0.97,0.97],[0.5,0.9],[0.97,0.97],[0.97,-0.97]]}],"filters":[)"
                R"({"type":"sizePercentage","data":[5,5],"active":true},)"
                R"({"type":"timeShortLivedLimit","data":1,"active":true},)"
                R"({"type":"distanceSwayingObject","data":5,"active":true},)"
                R"({"type":"excludeArea","data":[[-0.2,-0.2],[-0.2,0.2],[0.2,0.2],[0.2,-0.2]]}]})";
  }
  return R"({"cameras":[{"id":1,"active":true,"rotation":0}],"profiles":[)" + profiles + "]}";
}

// The API registered with the web server of the fakes.
class Api {
 public:
  Api()
      : versions(VERSIONS.data(), VERSIONS.size()),
        container(versions),
        handler(container, versions, folder.path("config.json"), boundaries, defaults, parser,
                Tracker::getInstance()),
        registration(
            ov_http_handler_new(&CGI_Callback::handle, static_cast<CGI_Handler*>(&handler))) {
    ask(toRequest("setConfiguration", threeProfiles()));
  }
  Api(const Api&) = delete;
  Api& operator=(const Api&) = delete;
  ~Api() {
    ov_http_handler_free(registration);
    Tracker::releaseInstance();
  }

  void ask(const std::string& request) {
    const std::string answer = FakeHttp::request({.path = "/api/sentrelvideo",
                                                  .method = "POST",
                                                  .query = "",
                                                  .parameters = {{OV_HTTP_BODY, request}}});
    if (answer.find(R"("data")") == std::string::npos) {
      throw std::runtime_error("answered: " + answer);
    }
  }

 private:
  TemporaryFolder folder;
  const API_VersionHandler versions;
  const DataBoundaries boundaries;
  const DefaultValues defaults;
  IdleContainer container;
  ConfigurationParser<TrackerGuardFactory> parser;
  TrackerCGI_Handler handler;
  OVHttpHandler* registration;
};

Batch prepareRequest(const std::string& request) {
  prepareSurroundings();
  auto api = std::make_shared<Api>();
  return [api, request] {
    constexpr std::size_t REQUESTS = 10;
    for (std::size_t i = 0; i < REQUESTS; ++i) {
      api->ask(request);
    }
    return REQUESTS;
  };
}

}  // namespace

void addApiCases(Cases& cases) {
  const std::array methods{
      std::pair<const char*, std::string>("getSupportedVersions", "{}"),
      std::pair<const char*, std::string>("getConfigurationCapabilities", "{}"),
      std::pair<const char*, std::string>("getConfiguration", "{}"),
      std::pair<const char*, std::string>("setConfiguration", threeProfiles()),
      std::pair<const char*, std::string>("startVisualConfirmation", R"({"profile":1})"),
      std::pair<const char*, std::string>("stopVisualConfirmation", "{}"),
      std::pair<const char*, std::string>("sendAlarmEvent", R"({"profile":1})"),
      std::pair<const char*, std::string>("getSentrel", "{}"),
      std::pair<const char*, std::string>(
          "setSentrel", R"({"switchObject":false,"timePerObject":5,"returnToHome":false,)"
                        R"("returnToHomeTimeout":5})")};
  for (const auto& [method, params] : methods) {
    cases.push_back({std::string("api/") + method, "call",
                     [request = toRequest(method, params)] { return prepareRequest(request); }});
  }
}

}  // namespace bench
