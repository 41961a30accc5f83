// Sites that are not there: the device's own publisher, many times, with alarms that come and go by
// chance. For trials of a fleet.
#include <glib-unix.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/command_line.h"
#include "base/glib_ptr.h"
#include "base/units.h"
#include "services/periodic_timer.h"
#include "web_server/broker_options.h"
#include "web_server/event_json.h"
#include "web_server/mqtt_publisher.h"
#include "web_server/option_values.h"

namespace {

constexpr int FAILED = 1;
constexpr int USAGE = 2;
constexpr int MOST_SITES = 10000;
constexpr std::int64_t STEP = 100000;  // microseconds
constexpr char OWN[] = "MiruPlatform/SentrelVideo/";

struct SiteOptions {
  device::BrokerOptions broker;
  std::string certificates;  // folder of NAME.crt and NAME.key; empty for none
  int first = 1;             // the number of the first one
  int count = 10;
  double alarmSeconds = 30;  // mean time between two alarms of a site
};

EventKey key(const char* name, EventValue value, bool isData) {
  return {.name = name, .value = std::move(value), .isData = isData};
}

// site-00001, site-00002 ...
std::string nameOfSite(int number) {
  const std::string digits = std::to_string(number);
  return "site-" + std::string(digits.size() < 5 ? 5 - digits.size() : 0, '0') + digits;
}

class VirtualSite {
 public:
  VirtualSite(const SiteOptions& options, int number)
      : prefix(device::topicPrefix(nameOfSite(number))) {
    for (const device::BrokerHosts& hosts : options.broker.brokers) {
      device::MqttPublisher::Settings settings;
      settings.hosts = hosts;
      settings.site = nameOfSite(number);
      settings.login = options.broker.login;
      settings.tls = options.broker.tls;
      if (settings.tls && !options.certificates.empty()) {
        const std::string file = options.certificates + "/" + settings.site;
        settings.tls->certificate = file + ".crt";
        settings.tls->key = file + ".key";
      }
      publishers.push_back(std::make_unique<device::MqttPublisher>(settings));
    }
    tell("SentrelVideo/about", R"({"version":"virtual","model":"none","cameras":1,"url":""})",
         false);
    send("state", key("value", std::string("running"), true), false);
    send("isSentreling", key("active", false, true), false);
    send("Camera1ProfileANY", key("active", false, true), true);
  }

  // An alarm begins or ends.
  void change() {
    isActive = !isActive;
    send("Camera1ProfileANY", key("active", isActive, true), true);
    send("isSentreling", key("active", isActive, true), false);
  }

 private:
  void send(const std::string& name, EventKey value, bool isAlarm) {
    const device::Event event{.id = 1,
                              .owner = "",
                              .stateless = false,
                              .keys = {key("topic0", std::string("MiruPlatform"), false),
                                       key("topic1", std::string("SentrelVideo"), false),
                                       key("topic2", name, false), std::move(value)},
                              .time = g_get_real_time()};
    tell(OWN + name, device::eventJson(event, {start, ++sent[name]}), isAlarm);
  }

  void tell(const std::string& topic, const std::string& payload, bool isAlarm) {
    for (const auto& publisher : publishers) {
      isAlarm ? publisher->alarm(prefix + topic, payload)
              : publisher->retain(prefix + topic, payload);
    }
  }

  const std::string prefix;
  const std::string start = device::isoTime(g_get_real_time());
  std::map<std::string, std::uint64_t> sent;
  std::vector<std::unique_ptr<device::MqttPublisher>> publishers;
  bool isActive = false;
};

SiteOptions parseOptions(const std::vector<std::string>& arguments) {
  SiteOptions options;
  device::RawBrokerOptions broker;
  OptionText certificates;
  std::vector<GOptionEntry> entries = {
      {"sites", 0, 0, G_OPTION_ARG_INT, &options.count, "How many", "N"},
      {"first", 0, 0, G_OPTION_ARG_INT, &options.first, "Number of the first one (1)", "N"},
      {"alarm-seconds", 0, 0, G_OPTION_ARG_DOUBLE, &options.alarmSeconds,
       "Mean time from one alarm of a site to the next", "SECONDS"},
      {"certificates", 0, 0, G_OPTION_ARG_FILENAME, certificates.out(),
       "Folder with each site's certificate and key, NAME.crt and NAME.key", "DIR"},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  const std::vector<GOptionEntry> atBroker = broker.readersEntries();
  entries.insert(entries.begin(), atBroker.begin(), atBroker.end());
  readOptions("Sites that are not there, for trials of a fleet.", entries, arguments);
  if (options.count < 1 || options.count > MOST_SITES || options.first < 1 ||
      options.first > MOST_SITES || !(options.alarmSeconds >= 1)) {
    throw OptionError(
        "--sites and --first are numbers from 1 to 10000, --alarm-seconds a time of 1 or more");
  }
  try {
    options.broker = device::readBrokerOptions(broker);
  } catch (const device::WebOptionError& error) {
    throw OptionError(error.what());
  }
  if (options.broker.brokers.empty()) {
    throw OptionError("--mqtt names the broker to publish to");
  }
  options.certificates = certificates.get() != nullptr ? certificates.get() : "";
  return options;
}

gboolean stop(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_CONTINUE;
}

int publish(const SiteOptions& options) {
  std::vector<std::unique_ptr<VirtualSite>> sites;
  for (int i = 0; i < options.count; ++i) {
    sites.push_back(std::make_unique<VirtualSite>(options, options.first + i));
  }
  const GMainLoopPtr loop(g_main_loop_new(nullptr, FALSE));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    g_unix_signal_add(signal, stop, loop.get());
  }
  std::minstd_rand chance{std::random_device()()};
  // An alarm's begin and its end are two changes.
  std::bernoulli_distribution changes(2 * units::toSeconds(STEP) / options.alarmSeconds);
  std::int64_t sent = 0;
  const device::PeriodicTimer timer(STEP, [&] {
    for (const auto& site : sites) {
      if (changes(chance)) {
        site->change();
        ++sent;
      }
    }
  });
  std::cout << options.count << " virtual sites" << std::endl;
  g_main_loop_run(loop.get());
  std::cout << sent << " changes of alarms were sent" << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return publish(parseOptions({argv, argv + argc}));
  } catch (const OptionError& error) {
    std::cerr << error.what() << '\n';
    return USAGE;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return FAILED;
  }
}
