// Sites that are not there: the device's own publisher, many times, with alarms that come and go by
// chance. For trials of a fleet.
#include <glib-unix.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
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

constexpr int MOST_SITES = 10000;
constexpr int MOST_ALARMS = 1000;
constexpr std::int64_t STEP = 100000;  // microseconds
constexpr double BEGINNINGS = 50;      // of sites, a second
constexpr char OWN[] = "MiruPlatform/SentrelVideo/";

struct SiteOptions {
  device::BrokerOptions broker;
  std::string certificates;  // folder of NAME.crt and NAME.key; empty for none
  int first = 1;             // the number of the first one
  int count = 10;
  int alarms = 1;            // of each site
  double alarmSeconds = 30;  // mean time between two alarms of a site
  double beginnings = BEGINNINGS;
  double repeatSeconds = 60;
  std::filesystem::path state;  // folder of the outboxes; empty: they are in memory
  std::string journal;          // file; empty: none
};

EventKey key(const char* name, EventValue value, bool isData) {
  return {.name = name, .value = std::move(value), .isData = isData};
}

// site-00001, site-00002 ...
std::string nameOfSite(int number) {
  const std::string digits = std::to_string(number);
  return "site-" + std::string(digits.size() < 5 ? 5 - digits.size() : 0, '0') + digits;
}

// A line for each value that the publishers have taken: alarm or state, time, topic, start, seq.
// Whoever judges a trial holds what has arrived against it.
class Journal {
 public:
  explicit Journal(const std::string& path) {
    if (path.empty()) {
      return;
    }
    file.open(path, std::ios::app);
    if (!file) {
      throw OptionError("--journal: " + path + " cannot be written");
    }
  }

  // At once, as the program may be killed.
  void note(bool isAlarm, std::int64_t time, const std::string& topic,
            const device::EventPlace& place) {
    if (file.is_open()) {
      file << std::string(isAlarm ? "alarm " : "state ") + device::isoTime(time) + ' ' + topic +
                  ' ' + place.start + ' ' + std::to_string(place.seq) + '\n'
           << std::flush;
    }
  }

 private:
  std::ofstream file;
};

std::string nameOfAlarm(std::size_t alarm) {
  return "Camera1Profile" + (alarm == 0 ? "ANY" : std::to_string(alarm));
}

class VirtualSite {
 public:
  VirtualSite(const SiteOptions& options, Journal* journal, int number)
      : journal(journal),
        prefix(device::topicPrefix(nameOfSite(number))),
        active(static_cast<std::size_t>(options.alarms)) {
    for (const device::BrokerHosts& hosts : options.broker.brokers) {
      device::MqttPublisher::Settings settings;
      settings.hosts = hosts;
      settings.repeat = std::chrono::milliseconds(std::llround(options.repeatSeconds * 1000));
      settings.site = nameOfSite(number);
      settings.login = options.broker.login;
      settings.tls = options.broker.tls;
      if (settings.tls && !options.certificates.empty()) {
        const std::string file = options.certificates + "/" + settings.site;
        settings.tls->certificate = file + ".crt";
        settings.tls->key = file + ".key";
      }
      if (!options.state.empty()) {
        settings.outbox = options.state /
                          (settings.site + "-" + std::to_string(publishers.size() + 1) + ".sqlite");
      }
      publishers.push_back(std::make_unique<device::MqttPublisher>(settings));
    }
    tell("SentrelVideo/about", R"({"version":"virtual","model":"none","cameras":1,"url":""})",
         false);
    send("state", key("value", std::string("running"), true), false);
    send("isSentreling", key("active", false, true), false);
    for (std::size_t alarm = 0; alarm < active.size(); ++alarm) {
      send(nameOfAlarm(alarm), key("active", false, true), true);
    }
  }

  // One of its alarms begins or ends.
  void change(std::minstd_rand& chance) {
    const std::size_t alarm =
        std::uniform_int_distribution<std::size_t>(0, active.size() - 1)(chance);
    active[alarm] = !active[alarm];
    send(nameOfAlarm(alarm), key("active", active[alarm], true), true);
    send("isSentreling", key("active", active[alarm], true), false);
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
    const device::EventPlace place{start, ++sent[name]};
    tell(OWN + name, device::eventJson(event, place), isAlarm);
    journal->note(isAlarm, event.time, prefix + OWN + name, place);
  }

  void tell(const std::string& topic, const std::string& payload, bool isAlarm) {
    for (const auto& publisher : publishers) {
      isAlarm ? publisher->alarm(prefix + topic, payload)
              : publisher->retain(prefix + topic, payload);
    }
  }

  Journal* const journal;  // not owned
  const std::string prefix;
  const std::string start = device::isoTime(g_get_real_time());
  std::map<std::string, std::uint64_t> sent;
  std::vector<std::unique_ptr<device::MqttPublisher>> publishers;
  std::vector<bool> active;  // by alarm
};

std::string textOf(const OptionText& text) {
  return text.get() != nullptr ? text.get() : "";
}

SiteOptions parseOptions(const std::vector<std::string>& arguments) {
  SiteOptions options;
  device::RawBrokerOptions broker;
  OptionText certificates;
  OptionText state;
  OptionText journal;
  std::vector<GOptionEntry> entries = {
      {"sites", 0, 0, G_OPTION_ARG_INT, &options.count, "How many", "N"},
      {"alarms", 0, 0, G_OPTION_ARG_INT, &options.alarms, "Alarms of each site (1)", "N"},
      {"first", 0, 0, G_OPTION_ARG_INT, &options.first, "Number of the first one (1)", "N"},
      {"alarm-seconds", 0, 0, G_OPTION_ARG_DOUBLE, &options.alarmSeconds,
       "Mean time from one alarm of a site to the next", "SECONDS"},
      {"begin", 0, 0, G_OPTION_ARG_DOUBLE, &options.beginnings, "Sites that begin in a second (50)",
       "N"},
      {"repeat-seconds", 0, 0, G_OPTION_ARG_DOUBLE, &options.repeatSeconds,
       "After which present values are told again (60)", "SECONDS"},
      {"state", 0, 0, G_OPTION_ARG_FILENAME, state.out(),
       "Folder for alarms that wait for a broker; without, they do not outlive the sites", "DIR"},
      {"journal", 0, 0, G_OPTION_ARG_FILENAME, journal.out(),
       "File to which each value is added, by topic, start and seq", "FILE"},
      {"certificates", 0, 0, G_OPTION_ARG_FILENAME, certificates.out(),
       "Folder with each site's certificate and key, NAME.crt and NAME.key", "DIR"},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  const std::vector<GOptionEntry> atBroker = broker.readersEntries();
  entries.insert(entries.begin(), atBroker.begin(), atBroker.end());
  readOptions("Sites that are not there, for trials of a fleet.", entries, arguments);
  if (options.count < 1 || options.count > MOST_SITES || options.first < 1 ||
      options.first > MOST_SITES || options.alarms < 1 || options.alarms > MOST_ALARMS ||
      !(options.alarmSeconds >= 1) || !(options.beginnings >= 1) || !(options.repeatSeconds >= 1)) {
    throw OptionError(
        "--sites and --first are numbers from 1 to 10000, --alarms up to 1000, the others 1 or "
        "more");
  }
  try {
    options.broker = device::readBrokerOptions(broker);
  } catch (const device::WebOptionError& error) {
    throw OptionError(error.what());
  }
  if (options.broker.brokers.empty()) {
    throw OptionError("--mqtt names the broker to publish to");
  }
  options.certificates = textOf(certificates);
  options.state = textOf(state);
  options.journal = textOf(journal);
  if (!options.state.empty() && !std::filesystem::is_directory(options.state)) {
    throw OptionError("--state: " + options.state.string() + " is no folder");
  }
  return options;
}

gboolean stop(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_CONTINUE;
}

// Each site has a thread, and four descriptors for each broker.
void allowDescriptors() {
  rlimit most{};
  getrlimit(RLIMIT_NOFILE, &most);
  most.rlim_cur = most.rlim_max;
  setrlimit(RLIMIT_NOFILE, &most);
}

// They begin one after the other, as nobody switches a thousand devices on at once.
class Sites {
 public:
  explicit Sites(const SiteOptions& options)
      : options(options), journal(options.journal), timer(STEP, [this] { step(); }) {}

  std::int64_t getSent() const { return sent; }

 private:
  void step() {
    due += options.beginnings * units::toSeconds(STEP);
    for (; due >= 1 && static_cast<int>(sites.size()) < options.count; due -= 1) {
      sites.push_back(std::make_unique<VirtualSite>(
          options, &journal, options.first + static_cast<int>(sites.size())));
    }
    for (const auto& site : sites) {
      if (changes(chance)) {
        site->change(chance);
        ++sent;
      }
    }
  }

  const SiteOptions& options;
  Journal journal;
  std::vector<std::unique_ptr<VirtualSite>> sites;
  double due = 0;
  std::minstd_rand chance{std::random_device()()};
  // An alarm's begin and its end are two changes.
  std::bernoulli_distribution changes{
      std::min(1.0, 2 * units::toSeconds(STEP) / options.alarmSeconds)};
  std::int64_t sent = 0;
  const device::PeriodicTimer timer;
};

int publish(const SiteOptions& options) {
  allowDescriptors();
  const Sites sites(options);
  const GMainLoopPtr loop(g_main_loop_new(nullptr, FALSE));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    g_unix_signal_add(signal, stop, loop.get());
  }
  std::cout << options.count << " virtual sites" << std::endl;
  g_main_loop_run(loop.get());
  std::cout << sites.getSent() << " changes of alarms were sent" << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return runProgram([&] { return publish(parseOptions({argv, argv + argc})); });
}
