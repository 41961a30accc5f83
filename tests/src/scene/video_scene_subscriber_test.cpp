#include "scene/video_scene_subscriber.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>

#include "fakes/log_capture.h"
#include "src/scene/module/test_module.h"

namespace {

using Handle = VideoSceneSubscriber::Handle;
using testing::MatchesRegex;

constexpr int FUNCTION_COUNT = 10;
constexpr std::array<const char*, FUNCTION_COUNT> FUNCTIONS = {
    "video_scene_subscriber_create",
    "video_scene_subscriber_delete",
    "video_scene_subscriber_subscribe",
    "video_scene_subscriber_unsubscribe",
    "video_scene_subscriber_set_on_disconnect_callback",
    "video_scene_subscriber_set_on_message_arrived_callback",
    "video_scene_subscriber_set_bounding_box_enabled",
    "video_scene_subscriber_set_polygon_enabled",
    "video_scene_subscriber_set_velocity_enabled",
    "video_scene_subscriber_set_low_confident_enabled"};

std::string modulePath(int functionCount) {
  return std::string(TEST_SCENE_MODULES) + "/" + std::to_string(functionCount) +
         "/libvideo_scene_subscriber.so.0";
}

bool isLoaded(int functionCount) {
  void* handle = dlopen(modulePath(functionCount).c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle) {
    dlclose(handle);
  }
  return handle != nullptr;
}

// Keeps a module loaded, where the dynamic loader finds it again by its name.
class LoadedModule {
 public:
  explicit LoadedModule(int functionCount)
      : handle(dlopen(modulePath(functionCount).c_str(), RTLD_NOW | RTLD_LOCAL)) {}
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;
  ~LoadedModule() { release(); }

  void* getHandle() const { return handle; }
  void release() {
    if (handle) {
      dlclose(handle);
    }
    handle = nullptr;
  }

  test_scene_module& state() const {
    return *reinterpret_cast<test_scene_module_state_fn>(
        dlsym(handle, "test_scene_module_state"))();
  }

 private:
  void* handle;
};

TEST(VideoSceneSubscriberLoading, FindsTheModuleByItsName) {
  LoadedModule module(FUNCTION_COUNT);
  ASSERT_TRUE(module.getHandle()) << dlerror();
  const LogCapture log;
  EXPECT_TRUE(VideoSceneSubscriber::initialize());
  EXPECT_TRUE(log.lines().empty());
  module.release();
  EXPECT_TRUE(isLoaded(FUNCTION_COUNT));
  VideoSceneSubscriber::deinitialize();
  EXPECT_FALSE(isLoaded(FUNCTION_COUNT));
  EXPECT_TRUE(log.lines().empty());
}

TEST(VideoSceneSubscriberLoading, CanBeRepeated) {
  const LoadedModule module(FUNCTION_COUNT);
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(VideoSceneSubscriber::initialize());
    EXPECT_EQ(module.state().subscriber,
              VideoSceneSubscriber::createSubscriber(1, DATA_FORMAT_SCENE, nullptr));
    VideoSceneSubscriber::deinitialize();
  }
}

TEST(VideoSceneSubscriberLoading, MissingModuleIsLogged) {
  const LogCapture log;
  EXPECT_FALSE(VideoSceneSubscriber::initialize());
  EXPECT_EQ(1, log.count(LOG_WARNING,
                         "Failed to load video_scene_subsriber. "
                         "Could not open video_scene_subscriber module\n"));
  EXPECT_EQ(1u, log.lines().size());
}

class IncompleteModule : public testing::TestWithParam<int> {};

// The module has every function before the one that is missing, and none behind it.
TEST_P(IncompleteModule, IsLoggedWithItsFirstMissingFunctionAndClosed) {
  const int present = GetParam();
  LoadedModule module(present);
  ASSERT_TRUE(module.getHandle()) << dlerror();
  const LogCapture log;
  EXPECT_FALSE(VideoSceneSubscriber::initialize());
  EXPECT_EQ(1, log.count(LOG_WARNING,
                         std::string("Failed to load video_scene_subsriber. Could not open ") +
                             FUNCTIONS[present] + "\n"));
  EXPECT_EQ(1u, log.lines().size());
  module.release();
  EXPECT_FALSE(isLoaded(present));
}

INSTANTIATE_TEST_SUITE_P(AllFunctions, IncompleteModule, testing::Range(0, FUNCTION_COUNT));

TEST(VideoSceneSubscriberLoading, SucceedsAfterAFailure) {
  EXPECT_FALSE(VideoSceneSubscriber::initialize());
  const LoadedModule module(FUNCTION_COUNT);
  EXPECT_TRUE(VideoSceneSubscriber::initialize());
  VideoSceneSubscriber::deinitialize();
}

// The loader refuses to close a module that nobody has opened: here another one needs it, which
// keeps it loaded, and the test has closed it once too often.
TEST(VideoSceneSubscriberLoading, FailureToCloseIsLoggedWithTheLoadersText) {
  void* user = dlopen(TEST_SCENE_MODULE_USER, RTLD_NOW | RTLD_LOCAL);
  ASSERT_TRUE(user) << dlerror();
  ASSERT_TRUE(VideoSceneSubscriber::initialize());
  {
    const LoadedModule module(FUNCTION_COUNT);
    ASSERT_TRUE(module.getHandle()) << dlerror();
    dlclose(module.getHandle());
  }
  const LogCapture log;
  VideoSceneSubscriber::deinitialize();
  ASSERT_EQ(1u, log.lines().size());
  const LogLine line = log.lines()[0];
  EXPECT_EQ(LOG_WARNING, line.priority);
  EXPECT_THAT(line.text,
              MatchesRegex("Could not close module libvideo_scene_subscriber\\.so\\.0: .+\n"));
  dlclose(user);
}

class VideoSceneSubscriberCalls : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(module.getHandle()) << dlerror();
    ASSERT_TRUE(VideoSceneSubscriber::initialize());
    LogCapture::clear();
  }
  void TearDown() override { VideoSceneSubscriber::deinitialize(); }

  test_scene_module& state() const { return module.state(); }
  Handle handle() const { return module.state().subscriber; }

 private:
  const LoadedModule module{FUNCTION_COUNT};
};

TEST_F(VideoSceneSubscriberCalls, CreatePassesChannelOneAsZero) {
  int userData = 0;
  EXPECT_EQ(handle(), VideoSceneSubscriber::createSubscriber(1, DATA_FORMAT_SCENE, &userData));
  EXPECT_STREQ("create", state().function);
  EXPECT_EQ(0, state().channel);
  EXPECT_EQ(2, static_cast<int>(state().format));
  EXPECT_EQ(&userData, state().userData);
}

TEST_F(VideoSceneSubscriberCalls, CreateCountsEveryChannelFromZero) {
  VideoSceneSubscriber::createSubscriber(4, DATA_FORMAT_SCENE, nullptr);
  EXPECT_EQ(3, state().channel);
}

TEST_F(VideoSceneSubscriberCalls, CreateFailsSilently) {
  state().isCreateFailing = 1;
  EXPECT_EQ(nullptr, VideoSceneSubscriber::createSubscriber(1, DATA_FORMAT_SCENE, nullptr));
  EXPECT_TRUE(LogCapture::lines().empty());
}

void onDisconnect(void*) {}
void onMessage(char*, void*) {}

TEST_F(VideoSceneSubscriberCalls, CallbacksReachTheModule) {
  EXPECT_EQ(0, VideoSceneSubscriber::setOnDisconnectCallback(handle(), onDisconnect));
  EXPECT_EQ(&onDisconnect, state().onDisconnect);
  EXPECT_EQ(0, VideoSceneSubscriber::setOnMessageArrivedCallback(handle(), onMessage));
  EXPECT_EQ(&onMessage, state().onMessage);
}

TEST_F(VideoSceneSubscriberCalls, SwitchesReachTheModule) {
  for (const auto set :
       {&VideoSceneSubscriber::setBoundingBoxEnabled, &VideoSceneSubscriber::setPolygonEnabled,
        &VideoSceneSubscriber::setVelocityEnabled, &VideoSceneSubscriber::setLowConfidentEnabled}) {
    state().enabled = -1;
    set(handle(), true);
    EXPECT_EQ(1, state().enabled);
    set(handle(), false);
    EXPECT_EQ(0, state().enabled);
  }
}

struct Wrapper {
  std::string name;      // as it reports itself
  std::string function;  // of the module
  std::function<int(Handle)> call;
};

const std::array<Wrapper, 9> WRAPPERS = {{
    {"deleteSubscriber", "delete", VideoSceneSubscriber::deleteSubscriber},
    {"subscribe", "subscribe", VideoSceneSubscriber::subscribe},
    {"unsubscribe", "unsubscribe", VideoSceneSubscriber::unsubscribe},
    {"setOnDisconnectCallback", "set_on_disconnect_callback",
     [](Handle h) { return VideoSceneSubscriber::setOnDisconnectCallback(h, onDisconnect); }},
    {"setOnMessageArrivedCallback", "set_on_message_arrived_callback",
     [](Handle h) { return VideoSceneSubscriber::setOnMessageArrivedCallback(h, onMessage); }},
    {"setBoundingBoxEnabled", "set_bounding_box_enabled",
     [](Handle h) { return VideoSceneSubscriber::setBoundingBoxEnabled(h, true); }},
    {"setPolygonEnabled", "set_polygon_enabled",
     [](Handle h) { return VideoSceneSubscriber::setPolygonEnabled(h, true); }},
    {"setVelocityEnabled", "set_velocity_enabled",
     [](Handle h) { return VideoSceneSubscriber::setVelocityEnabled(h, true); }},
    {"setLowConfidentEnabled", "set_low_confident_enabled",
     [](Handle h) { return VideoSceneSubscriber::setLowConfidentEnabled(h, true); }},
}};

TEST_F(VideoSceneSubscriberCalls, EveryWrapperCallsItsFunctionOnceAndIsSilentOnSuccess) {
  for (const Wrapper& wrapper : WRAPPERS) {
    state().callCount = 0;
    state().given = nullptr;
    EXPECT_EQ(0, wrapper.call(handle())) << wrapper.name;
    EXPECT_EQ(wrapper.function, state().function);
    EXPECT_EQ(1, state().callCount) << wrapper.name;
    EXPECT_EQ(handle(), state().given) << wrapper.name;
  }
  EXPECT_TRUE(LogCapture::lines().empty());
}

struct Report {
  int result;
  std::string before;  // the wrapper's name
  std::string after;
};

class VideoSceneSubscriberReports : public VideoSceneSubscriberCalls,
                                    public testing::WithParamInterface<Report> {};

TEST_P(VideoSceneSubscriberReports, EveryWrapperUnderItsOwnName) {
  const auto& [result, before, after] = GetParam();
  state().result = result;
  for (const Wrapper& wrapper : WRAPPERS) {
    const LogCapture log;
    EXPECT_EQ(result, wrapper.call(handle())) << wrapper.name;
    EXPECT_EQ(1, log.count(LOG_WARNING, before + wrapper.name + after)) << wrapper.name;
    EXPECT_EQ(1u, log.lines().size()) << wrapper.name;
  }
}

const std::string UNKNOWN = "Unknown error in subscriber in (";

INSTANTIATE_TEST_SUITE_P(
    AllResults, VideoSceneSubscriberReports,
    testing::Values(Report{-2, "Scene provider in invalid running state (", ").\n"},
                    Report{-3, "No valid scene provider available  (", ").\n"},
                    Report{-4, "Invalid data format to scene provider  (", ").\n"},
                    Report{-6, "System policy error, unauthorized API call (", ").\n"},
                    Report{-1, UNKNOWN, ").\n"}, Report{-5, UNKNOWN, ").\n"},
                    Report{-7, UNKNOWN, ").\n"}, Report{1, UNKNOWN, ").\n"},
                    Report{std::numeric_limits<int>::min(), UNKNOWN, ").\n"}),
    [](const auto& info) {
      const int result = info.param.result;
      if (result == std::numeric_limits<int>::min()) {
        return std::string("Smallest");
      }
      return (result < 0 ? "Minus" : "Plus") + std::to_string(std::abs(result));
    });

}  // namespace
