#include "camera/socket_camera.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/local_socket.h"
#include "camera/camera_container_factory.h"
#include "camera/socket_camera_container.h"
#include "scene/scene_reader.h"
#include "src/camera/test_camera.h"
#include "src/events/wrapper_test_base.h"
#include "support/temporary_folder.h"

namespace {

// Where connections to the scene service's own path lead instead; set before threads connect.
std::string& servicePath() {
  static std::string s_path;
  return s_path;
}

// Called on the thread that has just connected, before it knows; set before threads connect.
std::function<void()>& onConnected() {
  static std::function<void()> s_hook;
  return s_hook;
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

}  // namespace

// Takes the place of the C library's.
extern "C" int connect(int fd, const sockaddr* address, socklen_t length) {
  using Connect = int (*)(int, const sockaddr*, socklen_t);
  static const auto REAL = reinterpret_cast<Connect>(dlsym(RTLD_NEXT, "connect"));
  const auto* const local = reinterpret_cast<const sockaddr_un*>(address);
  if (address->sa_family != AF_UNIX ||
      std::strncmp(local->sun_path, SceneReader::SCENE_SOCKET_PATH, sizeof local->sun_path) != 0) {
    return REAL(fd, address, length);
  }
  const sockaddr_un redirected = addressOf(servicePath());
  const int result = REAL(fd, reinterpret_cast<const sockaddr*>(&redirected), sizeof redirected);
  if (onConnected()) {
    onConnected()();
  }
  return result;
}

namespace {

using Texts = std::vector<std::string>;

constexpr int LONG_WAIT = 10'000;  // ms
constexpr std::int64_t PAUSE = 100'000;
constexpr const char* ONE_VERSION[] = {"1.0"};
constexpr const char* TWO_VERSIONS[] = {"1.0", "1.1"};

bool isReadable(int fd, int milliseconds) {
  pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
  return poll(&waiting, 1, milliseconds) == 1;
}

// The service's end of one connection.
class Connection {
 public:
  explicit Connection(int fd) : fd(fd) {}

  void close() { fd.reset(); }

  // The request line without its line feed; what came of it when it stays incomplete.
  std::string readRequest() const {
    std::string line;
    char letter = 0;
    while (isReadable(fd.get(), LONG_WAIT) && read(fd.get(), &letter, 1) == 1 && letter != '\n') {
      line += letter;
    }
    return line;
  }

  void answer(const std::string& text) const { write(text.c_str(), text.size() + 1); }

  void send(const FrameOf& frame) const {
    const std::vector<std::uint8_t> bytes = frame.bytes();
    const std::uint32_t length = htonl(static_cast<std::uint32_t>(bytes.size()));
    write(&length, sizeof length);
    write("skipped!", 8);
    write(bytes.data(), bytes.size());
  }

  // Whether the other end closes the connection.
  bool isClosed() const {
    char letter = 0;
    return isReadable(fd.get(), LONG_WAIT) && read(fd.get(), &letter, 1) <= 0;
  }

 private:
  void write(const void* bytes, std::size_t size) const {
    EXPECT_EQ(::send(fd.get(), bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
  }

  FileDescriptor fd;
};

// A scene service at a path of the test's own.
class SceneService {
 public:
  SceneService() {
    servicePath() = folder.path("scenes");
    const sockaddr_un address = addressOf(servicePath());
    fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(fd, 8), 0);
  }
  SceneService(const SceneService&) = delete;
  ~SceneService() { goAway(); }

  void goAway() {
    if (fd >= 0) {
      close(fd);
    }
    fd = -1;
  }

  // Connects until nobody else can, as nobody is accepted.
  std::vector<FileDescriptor> fillQueue() const {
    std::vector<FileDescriptor> waiting;
    for (FileDescriptor next = local_socket::connectTo(servicePath()); next.isOpen();
         next = local_socket::connectTo(servicePath())) {
      waiting.push_back(std::move(next));
    }
    return waiting;
  }

  std::unique_ptr<Connection> accept() const {
    if (!isReadable(fd, LONG_WAIT)) {
      return nullptr;
    }
    return std::make_unique<Connection>(::accept4(fd, nullptr, nullptr, SOCK_CLOEXEC));
  }

  // Lets time pass until somebody connects.
  std::unique_ptr<Connection> accept(FakeClock& clock) const {
    for (int waited = 0; waited < LONG_WAIT; waited += 10) {
      if (isReadable(fd, 10)) {
        return accept();
      }
      clock.advance(PAUSE);
    }
    return nullptr;
  }

 private:
  TemporaryFolder folder;
  int fd;
};

class SocketCameraTest : public InitializedWrapperTest {
 protected:
  ~SocketCameraTest() override { end(); }

  void start(bool withNewerVersion = false) {
    const API_VersionHandler versions =
        withNewerVersion ? API_VersionHandler(TWO_VERSIONS, 2) : API_VersionHandler(ONE_VERSION, 1);
    camera = std::make_unique<SocketCamera>(2, 0, 1.0F, 14, StartupPosition(), versions);
    auto guard = std::make_unique<NotingGuard>("g", 1, 2, producer, notes);
    guard->showsAge = true;
    camera->insertGuard(std::move(guard));
    notes.take();
    camera->start();
  }

  void end() {
    if (!camera) {
      return;
    }
    camera->stop();
    camera->shutDownSocket();
    clock.free();
    camera->join();
    camera.reset();
  }

  // The next notes, as soon as there are that many.
  Texts nextNotes(std::size_t count) {
    EXPECT_TRUE(notes.waitFor(count));
    return notes.take();
  }

  RecordingProducer producer;
  Notes notes;
  SceneService service;
  std::unique_ptr<SocketCamera> camera;
};

TEST_F(SocketCameraTest, AsksForItsChannelAndReadsFrames) {
  start();
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  EXPECT_EQ(connection->readRequest(), "1.0 OPEN 0 1 1 2");
  connection->answer("1.0 OK");
  connection->send({.time = 5, .ids = {3}});
  connection->send({.time = 8, .ids = {3, 4}});
  EXPECT_EQ(nextNotes(2), Texts({"g frame 5: 3/0", "g frame 8: 3/3 4/0"}));
}

TEST_F(SocketCameraTest, TheMaskIsReducedToWhatTheVersionDelivers) {
  start();
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  connection->readRequest();
  connection->answer("1.0 OK");
  connection->send({.time = 5, .ids = {3}, .confidence = 0});
  EXPECT_EQ(nextNotes(1), Texts({"g frame 5: 3/0"})) << "no confidence is read";
  EXPECT_EQ(camera->getPropertyMask(), 6);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SocketCameraTest, ANewerServiceDeliversConfidence) {
  start(true);
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  EXPECT_EQ(connection->readRequest(), "1.1 OPEN 0 1 1 1 2");
  connection->answer("1.1 OK");
  connection->send({.time = 5, .ids = {3}, .confidence = 0});
  EXPECT_EQ(nextNotes(1), Texts({"g frame 5: 3/0?"}));
  EXPECT_EQ(camera->getPropertyMask(), 14);
}

TEST_F(SocketCameraTest, TriesTheVersionsThatTheServiceSpeaks) {
  start(true);
  auto connection = service.accept();
  ASSERT_TRUE(connection);
  EXPECT_EQ(connection->readRequest(), "1.1 OPEN 0 1 1 1 2");
  connection->answer("1.0 NO");
  const auto second = service.accept();
  ASSERT_TRUE(second) << "each handshake has a connection of its own";
  EXPECT_TRUE(connection->isClosed());
  EXPECT_EQ(second->readRequest(), "1.0 OPEN 0 1 1 2");
  second->answer("1.0 OK");
  second->send({.time = 5, .ids = {3}, .confidence = 0});
  EXPECT_EQ(nextNotes(1), Texts({"g frame 5: 3/0"}));
  EXPECT_EQ(camera->getPropertyMask(), 6);
}

TEST_F(SocketCameraTest, TheHighestVersionIsTriedFirst) {
  start(true);
  const auto first = service.accept();
  ASSERT_TRUE(first);
  first->readRequest();
  first->answer("1.1 NO");
  const auto second = service.accept();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->readRequest(), "1.1 OPEN 0 1 1 1 2");
  second->answer("1.1 NO");
  const auto third = service.accept();
  ASSERT_TRUE(third);
  EXPECT_EQ(third->readRequest(), "1.0 OPEN 0 1 1 2");
}

TEST_F(SocketCameraTest, AServiceThatAcceptsNoVersionIsLoggedAndTriedAgain) {
  start();
  auto connection = service.accept();
  ASSERT_TRUE(connection);
  connection->readRequest();
  connection->answer("2.7 NO");
  EXPECT_TRUE(connection->isClosed());
  ASSERT_TRUE(clock.waitForSleepers(2));
  EXPECT_EQ(log.count("Could not initialize the object data stream to camera 2, requred version "
                      "2.7 supported versions 1.0\n"),
            1);
  connection = service.accept(clock);
  ASSERT_TRUE(connection);
  EXPECT_EQ(connection->readRequest(), "1.0 OPEN 0 1 1 2");
}

TEST_F(SocketCameraTest, AServiceThatRefusesAndGoesIsLoggedAsAcceptingNoVersion) {
  start();
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  connection->readRequest();
  service.goAway();
  connection->answer("2.7 NO");
  ASSERT_TRUE(clock.waitForSleepers(2));
  EXPECT_EQ(log.count("Could not initialize the object data stream to camera 2, requred version "
                      "2.7 supported versions 1.0\n"),
            1);
}

TEST_F(SocketCameraTest, ABrokenStreamForgetsObjectsTellsGuardsAndIsConnectedAgain) {
  start();
  auto connection = service.accept();
  ASSERT_TRUE(connection);
  connection->readRequest();
  connection->answer("1.0 OK");
  connection->send({.time = 5, .ids = {3}});
  EXPECT_EQ(nextNotes(1), Texts({"g frame 5: 3/0"}));
  connection->close();
  EXPECT_EQ(nextNotes(1), Texts({"g lost"}));
  EXPECT_EQ(log.count("Could not read scene.\n"), 1);
  connection = service.accept(clock);
  ASSERT_TRUE(connection);
  EXPECT_EQ(connection->readRequest(), "1.0 OPEN 0 1 1 2");
  connection->answer("1.0 OK");
  connection->send({.time = 9, .ids = {3}});
  EXPECT_EQ(nextNotes(1), Texts({"g frame 9: 3/0"}));
}

TEST_F(SocketCameraTest, WithoutAServiceItTriesEvery100Milliseconds) {
  servicePath() = "/nonexistent/scenes";
  start();
  const auto errors = [] {
    int count = 0;
    for (const LogLine& line : LogCapture::lines()) {
      if (line.text.starts_with("Could not connect to service, result: ")) {
        ++count;
      }
    }
    return count;
  };
  // The timer's thread and the camera's.
  ASSERT_TRUE(clock.waitForSleepers(2));
  const int before = errors();
  EXPECT_GE(before, 1);
  for (int attempt = 1; attempt <= 3; ++attempt) {
    ASSERT_TRUE(clock.advanceAndSettle(PAUSE - 1, 2));
    EXPECT_EQ(errors(), before + attempt - 1);
    ASSERT_TRUE(clock.advanceAndSettle(1, 2));
    EXPECT_EQ(errors(), before + attempt);
  }
}

TEST_F(SocketCameraTest, WithoutAConnectionNothingIsSaidOfFrames) {
  servicePath() = "/nonexistent/scenes";
  start();
  // The timer's thread and the camera's, which has failed to connect.
  ASSERT_TRUE(clock.waitForSleepers(2));
  ASSERT_TRUE(clock.advanceAndSettle(PAUSE, 2));
  ASSERT_TRUE(clock.advanceAndSettle(PAUSE, 2));
  EXPECT_EQ(log.count("Could not read scene.\n"), 0);
  EXPECT_TRUE(notes.take().empty()) << "there is no stream that could have been lost";
}

TEST_F(SocketCameraTest, AServiceThatDoesNotAcceptIsTriedEvery100Milliseconds) {
  const std::vector<FileDescriptor> waiting = service.fillQueue();
  start();
  // The timer's thread and the camera's.
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(clock.waitForSleepers(2));
  ASSERT_TRUE(clock.advanceAndSettle(PAUSE, 2));
  // A wait would last for 5 s.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
  EXPECT_EQ(log.count("Could not connect to service, result: -1\n\n"), 2);
}

TEST_F(SocketCameraTest, AThreadThatWaitsForAFrameCanBeEnded) {
  start();
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  connection->readRequest();
  connection->answer("1.0 OK");
  connection->send({.time = 5});
  nextNotes(1);
  camera->stop();
  camera->shutDownSocket();
  camera->join();
  EXPECT_TRUE(connection->isClosed());
}

TEST_F(SocketCameraTest, AThreadThatWaitsForAnAnswerCanBeEnded) {
  start();
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  connection->readRequest();
  end();
  EXPECT_TRUE(connection->isClosed());
}

TEST_F(SocketCameraTest, ItsEndEndsTheThread) {
  start();
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  connection->readRequest();
  connection->answer("1.0 OK");
  connection->send({.time = 5});
  nextNotes(1);
  camera.reset();
  EXPECT_TRUE(connection->isClosed());
}

TEST_F(SocketCameraTest, AnEndThatComesWhileItConnectsEndsTheThread) {
  // Nobody would shut down a connection that is made known after the end.
  std::promise<void> isConnected;
  std::promise<void> isEnding;
  onConnected() = [&] {
    isConnected.set_value();
    isEnding.get_future().wait();
  };
  start();
  isConnected.get_future().wait();
  camera->stop();
  camera->shutDownSocket();
  isEnding.set_value();
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  EXPECT_EQ(connection->readRequest(), "") << "nothing is asked for any more";
  EXPECT_TRUE(connection->isClosed());
  connection->close();
  camera->join();
  onConnected() = nullptr;
}

// ---- The container ----

class SocketCameraContainerTest : public InitializedWrapperTest {
 protected:
  ~SocketCameraContainerTest() override { clock.free(); }

  void configure(std::initializer_list<int> cameras) {
    CameraConfigurationContainer configurations;
    for (const int camera : cameras) {
      CameraConfiguration::Guards guards;
      guards.push_back(std::make_unique<NotingGuard>("g" + std::to_string(camera), camera, camera,
                                                     producer, notes));
      configurations.insert({camera, 0, std::move(guards)});
    }
    container->updateWithNewConfiguration(std::move(configurations));
    notes.take();
  }

  std::unique_ptr<Connection> acceptStream() const {
    std::unique_ptr<Connection> connection = service.accept();
    if (connection) {
      connection->readRequest();
      connection->answer("1.0 OK");
    }
    return connection;
  }

  RecordingProducer producer;
  Notes notes;
  SceneService service;
  std::unique_ptr<SocketCameraContainer> container =
      std::make_unique<SocketCameraContainer>(API_VersionHandler(ONE_VERSION, 1), 14);
};

TEST_F(SocketCameraContainerTest, MakesCamerasThatReadTheirChannel) {
  configure({1});
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  EXPECT_EQ(connection->readRequest(), "1.0 OPEN 0 1 1 1");
  connection->answer("1.0 OK");
  connection->send({.time = 5, .ids = {3}});
  ASSERT_TRUE(notes.waitFor(1));
  EXPECT_EQ(notes.take(), Texts({"g1 frame 5: 3"}));
}

TEST_F(SocketCameraContainerTest, ShuttingDownEndsTheStreams) {
  configure({1, 2});
  const auto first = acceptStream();
  const auto second = acceptStream();
  ASSERT_TRUE(first && second);
  container->shutDown();
  EXPECT_TRUE(first->isClosed());
  EXPECT_TRUE(second->isClosed());
  EXPECT_NE(container->getCamera({1, 0, {}}), nullptr);
}

TEST_F(SocketCameraContainerTest, ACameraThatGoesEndsItsStream) {
  configure({1});
  const auto first = acceptStream();
  ASSERT_TRUE(first);
  configure({2});
  EXPECT_TRUE(first->isClosed());
  const auto second = service.accept();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->readRequest(), "1.0 OPEN 0 1 1 2");
}

TEST_F(SocketCameraContainerTest, ItsEndEndsTheStreams) {
  configure({1});
  const auto connection = acceptStream();
  ASSERT_TRUE(connection);
  container.reset();
  EXPECT_TRUE(connection->isClosed());
}

TEST_F(SocketCameraContainerTest, CamerasOfAServiceThatDoesNotAcceptGoAndEndAtOnce) {
  const std::vector<FileDescriptor> waiting = service.fillQueue();
  configure({1, 2, 3, 4});
  clock.free();  // the cameras connect again and again
  const auto begin = std::chrono::steady_clock::now();
  configure({4});
  container->shutDown();
  container.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
}

TEST_F(SocketCameraContainerTest, ACameraNumberedZeroGetsNoStream) {
  configure({0, 1});
  const auto connection = service.accept();
  ASSERT_TRUE(connection);
  EXPECT_EQ(connection->readRequest(), "1.0 OPEN 0 1 1 1") << "the only one";
  EXPECT_TRUE(container->doesProfileExist(0));
}

// ---- The choice of the family ----

class SocketFamilyTest : public InitializedWrapperTest {
 protected:
  static std::unique_ptr<CameraContainer> create() {
    return CameraContainerFactory::create(API_VersionHandler(ONE_VERSION, 1), 14);
  }
};

TEST_F(SocketFamilyTest, BelowVersion215CamerasReadTheSocket) {
  const SceneService service;
  FakeParameters::set("root.Properties.EmbeddedDevelopment.Version", "2.14");
  const std::unique_ptr<CameraContainer> container = create();
  EXPECT_NE(dynamic_cast<SocketCameraContainer*>(container.get()), nullptr);
  const auto probe = service.accept();
  ASSERT_TRUE(probe);
  EXPECT_TRUE(probe->isClosed()) << "the probe's descriptor is closed";
}

TEST_F(SocketFamilyTest, WithoutAVersionCamerasReadTheSocket) {
  const SceneService service;
  const std::unique_ptr<CameraContainer> container = create();
  EXPECT_NE(dynamic_cast<SocketCameraContainer*>(container.get()), nullptr);
}

TEST_F(SocketFamilyTest, WaitsForTheService) {
  FakeParameters::set("root.Properties.EmbeddedDevelopment.Version", "2.14");
  servicePath() = "/nonexistent/scenes";
  std::unique_ptr<CameraContainer> container;
  std::thread waiting([&] { container = create(); });
  ASSERT_TRUE(clock.waitForSleepers(2));
  ASSERT_TRUE(clock.advanceAndSettle(PAUSE, 2));
  EXPECT_EQ(container, nullptr);
  const SceneService service;
  clock.advance(PAUSE);
  waiting.join();
  EXPECT_NE(dynamic_cast<SocketCameraContainer*>(container.get()), nullptr);
}

}  // namespace
