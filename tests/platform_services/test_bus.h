// A service of the test's own on the message bus that it finds in the place of the system's.
#ifndef PLATFORM_SERVICES_TEST_BUS_H
#define PLATFORM_SERVICES_TEST_BUS_H

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "base/glib_ptr.h"
#include "fakes/private_bus.h"

constexpr std::chrono::seconds LONG_ENOUGH{30};

// A service on the bus, on a connection and a thread of its own.
class TestService {
 public:
  // make is called on the service's thread and returns what is to be exported; the service owns it.
  TestService(const char* name, const char* path,
              const std::function<GDBusInterfaceSkeleton*()>& make) {
    services.invoke([&] {
      skeleton.reset(make());
      services.exportAt(skeleton.get(), path);
      EXPECT_TRUE(services.own(name)) << "not the owner of " << name;
    });
  }

  ~TestService() {
    services.invoke([this] { services.withdraw(skeleton.get()); });
  }

  LoopThread& getLoop() { return services.getLoop(); }

 private:
  GObjectPtr<GDBusInterfaceSkeleton> skeleton;
  BusServices services;
};

// The text of an error, which is released.
inline std::string takeMessage(GError*& error) {
  const GErrorPtr owned(std::exchange(error, nullptr));
  return owned ? owned->message : "";
}

#endif
