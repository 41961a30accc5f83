#ifndef DEVICE_WEB_BROKER_H
#define DEVICE_WEB_BROKER_H

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mosquitto.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "support/temporary_folder.h"

namespace device {

inline constexpr char BROKER_PROGRAM[] = "/usr/sbin/mosquitto";
inline constexpr std::chrono::seconds BROKER_PATIENCE(30);  // that only a broken test needs

struct BrokerMessage {
  std::string topic;
  std::string payload;
  bool retained = false;
};

// Subscribes to everything; tries until the broker is there.
class Subscriber {
 public:
  // name: of a session that the broker keeps while the subscriber is away; empty: none.
  explicit Subscriber(int port, const std::string& name = "")
      : client(mosquitto_new(name.empty() ? nullptr : name.c_str(), name.empty(), this),
               mosquitto_destroy) {
    mosquitto_message_callback_set(
        client.get(), [](mosquitto*, void* data, const mosquitto_message* message) {
          static_cast<Subscriber*>(data)->messages.push_back(
              {message->topic,
               std::string(static_cast<const char*>(message->payload),
                           static_cast<std::size_t>(message->payloadlen)),
               message->retain});
        });
    mosquitto_subscribe_callback_set(client.get(),
                                     [](mosquitto*, void* data, int, int, const int*) {
                                       static_cast<Subscriber*>(data)->subscribed = true;
                                     });
    const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
    while (mosquitto_connect(client.get(), "127.0.0.1", port, 60) != MOSQ_ERR_SUCCESS &&
           std::chrono::steady_clock::now() < deadline) {
      usleep(10000);  // between two tries
    }
    mosquitto_subscribe(client.get(), nullptr, "#", 1);
    EXPECT_TRUE(runUntil([this] { return subscribed; }));
  }

  bool runUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      if (mosquitto_loop(client.get(), 20, 1) != MOSQ_ERR_SUCCESS) {
        break;
      }
    }
    return condition();
  }

  void runOnce() { mosquitto_loop(client.get(), 20, 1); }

  void publish(const std::string& topic, const std::string& payload) {
    mosquitto_publish(client.get(), nullptr, topic.c_str(), static_cast<int>(payload.size()),
                      payload.data(), 1, true);
  }

  // Takes everything that the broker had to say before now: sends itself a word behind it.
  void drain() {
    mosquitto_publish(client.get(), nullptr, "test/end", 1, "x", 1, false);
    EXPECT_TRUE(sees("test/end", "x"));
  }

  // Waits for a message of this topic and payload.
  bool sees(const std::string& topic, const std::string& payload) {
    return runUntil([&] { return find(topic, payload) != nullptr; });
  }

  const BrokerMessage* find(const std::string& topic, const std::string& payload) const {
    for (const BrokerMessage& message : messages) {
      if (message.topic == topic && message.payload == payload) {
        return &message;
      }
    }
    return nullptr;
  }

  bool hasTopic(const std::string& topic) const {
    return std::ranges::count(messages, topic, &BrokerMessage::topic) > 0;
  }

  // In their order, as they were published; without what the broker retains for those who come.
  std::vector<std::string> payloadsOf(const std::string& topic) const {
    std::vector<std::string> payloads;
    for (const BrokerMessage& message : messages) {
      if (message.topic == topic && !message.retained) {
        payloads.push_back(message.payload);
      }
    }
    return payloads;
  }

  std::vector<std::string> everyPayloadOf(const std::string& topic) const {
    std::vector<std::string> payloads;
    for (const BrokerMessage& message : messages) {
      if (message.topic == topic) {
        payloads.push_back(message.payload);
      }
    }
    return payloads;
  }

  std::vector<BrokerMessage> messages;

 private:
  std::unique_ptr<mosquitto, decltype(&mosquitto_destroy)> client;
  bool subscribed = false;
};

// A port that only a program started by this one may listen on: the socket that is bound to it
// keeps it from other tests, also while the program does not run.
class ReservedPort {
 public:
  ReservedPort() {
    constexpr int ON = 1;  // as the program's own has, which may then be bound as well
    setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &ON, sizeof(ON));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    EXPECT_EQ(0, bind(fd.get(), reinterpret_cast<sockaddr*>(&address), size));
    EXPECT_EQ(0, getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &size));
    number = ntohs(address.sin_port);
  }

  int getNumber() const { return number; }

 private:
  FileDescriptor fd{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  int number = 0;
};

// A real broker on a port of its own; it keeps what is retained over a restart.
class Broker {
 public:
  // settings: more lines for its file.
  explicit Broker(bool keeps = true, const std::string& settings = "") {
    std::ofstream file(folder / "conf");
    file << "listener " << getPort() << " 127.0.0.1\nallow_anonymous true\n"
         << "log_dest file " << (folder / "log") << "\nlog_type all\n"
         << settings;
    if (geteuid() == 0) {
      file << "user root\n";
    }
    if (keeps) {
      file << "persistence true\npersistence_location " << (folder / "") << "\n";
    }
    file.close();
    start();
  }
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;
  ~Broker() { stop(); }

  // Returns once it serves: one that is told to end before may not have heard it.
  void start() {
    std::string program = BROKER_PROGRAM;
    std::string option = "-c";
    std::string file = folder / "conf";
    char* const arguments[] = {program.data(), option.data(), file.data(), nullptr};
    // It warns of root before it has read where to log.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const int result = posix_spawn(&pid, BROKER_PROGRAM, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    ASSERT_EQ(0, result);
    const Subscriber served(getPort());
  }

  void stop(int signal = SIGTERM) {
    if (pid == 0) {
      return;
    }
    kill(pid, signal);
    kill(pid, SIGCONT);
    waitpid(pid, nullptr, 0);
    pid = 0;
  }

  // Of a broker that is to hang.
  void send(int signal) const { kill(pid, signal); }

  int getPort() const { return port.getNumber(); }
  std::string getLog() const { return readText(folder / "log"); }

 private:
  TemporaryFolder folder;
  ReservedPort port;
  pid_t pid = 0;
};

}  // namespace device

#endif
