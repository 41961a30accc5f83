#include "web_server/mqtt_client.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <chrono>
#include <future>
#include <string_view>

#include "broker.h"
#include "certificates.h"

namespace {

constexpr char SLOW[] = "slow.invalid";

// Of a name whose look-up takes as long as the test likes.
std::promise<void> s_asked;
std::promise<void> s_told;

}  // namespace

// In place of the system's, which it asks for all other names.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                           addrinfo** result) {
  if (node != nullptr && std::string_view(node) == SLOW) {
    s_asked.set_value();
    s_told.get_future().wait();
    return EAI_AGAIN;
  }
  static const auto SYSTEMS =
      reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return SYSTEMS(node, service, hints, result);
}

namespace device {
namespace {

int connectByTls(const BrokerAddress& host, const BrokerTls& tls) {
  const MosquittoPtr client = makeMqttClient(nullptr, nullptr);
  EXPECT_EQ(MOSQ_ERR_SUCCESS, introduce(client.get(), std::nullopt, tls));
  return connectTo(client.get(), host, tls);
}

TEST(MqttClientTest, NameThatIsLookedUpForLongHoldsUpNobodyElse) {
  Certificates certificates;
  certificates.make("ca", "broker");
  const BrokerTls tls{.ca = certificates.file("ca.crt"), .certificate = "", .key = ""};
  const auto connectElsewhere = [&](const BrokerAddress& host) {
    return std::async(std::launch::async, [&tls, host] { return connectByTls(host, tls); });
  };
  std::future<int> slow = connectElsewhere({SLOW, 8883});
  s_asked.get_future().wait();
  const ReservedPort port;
  const std::future<int> other = connectElsewhere({"127.0.0.1", port.getNumber()});
  EXPECT_EQ(std::future_status::ready, other.wait_for(BROKER_PATIENCE));
  s_told.set_value();
  EXPECT_EQ(MOSQ_ERR_EAI, slow.get());
}

}  // namespace
}  // namespace device
