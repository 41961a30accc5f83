#include "app/options.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "world/scenes.h"

namespace device {

namespace {

// Where GOption leaves what it reads; texts are its own.
struct Raw {
  char* model = nullptr;
  char* models = nullptr;
  char* tracks = nullptr;
  gboolean asRecorded = FALSE;
  char* scene = nullptr;
  char* transport = nullptr;
  char* following = nullptr;
  double duration = 0;
  gint64 seed = 1;
  char* report = nullptr;
  char* daemon = nullptr;
  gboolean restartDaemon = FALSE;
  double headBoot = -1;
  int framesPerSecond = 10;
  gboolean quiet = FALSE;
  gboolean noLog = FALSE;
  char* listen = nullptr;
  char* port = nullptr;
  char* user = nullptr;
  char* passwordFile = nullptr;
  char* web = nullptr;
  char* mqtt = nullptr;
  char* onvif = nullptr;
  char* onvifListen = nullptr;
  char* onvifUser = nullptr;
  char* onvifPasswordFile = nullptr;

  Raw() = default;
  Raw(const Raw&) = delete;
  Raw& operator=(const Raw&) = delete;
  ~Raw() {
    for (char* text :
         {model, models, tracks, scene, transport, following, report, daemon, listen, port, user,
          passwordFile, web, mqtt, onvif, onvifListen, onvifUser, onvifPasswordFile}) {
      g_free(text);
    }
  }
};

std::string choicesOf(const std::vector<std::string>& names) {
  std::string choices;
  for (const std::string& name : names) {
    choices += (choices.empty() ? "" : "|") + name;
  }
  return choices;
}

void parse(const std::vector<std::string>& arguments, Raw* raw) {
  const std::string sceneChoices = choicesOf(sceneNames());
  const std::vector<GOptionEntry> entries = {
      {"model", 0, 0, G_OPTION_ARG_STRING, &raw->model, "Model by name, or its file", "NAME"},
      {"models", 0, 0, G_OPTION_ARG_FILENAME, &raw->models, "Folder of the models", "DIR"},
      {"tracks", 0, 0, G_OPTION_ARG_FILENAME, &raw->tracks, "Recording of people to play", "FILE"},
      {"as-recorded", 0, 0, G_OPTION_ARG_NONE, &raw->asRecorded,
       "Play it without adding rests in which nobody is there", nullptr},
      {"scene", 0, 0, G_OPTION_ARG_STRING, &raw->scene,
       "Where people walk and who they are (as the model says)", sceneChoices.c_str()},
      {"transport", 0, 0, G_OPTION_ARG_STRING, &raw->transport, "How scene frames are offered",
       "socket|module"},
      {"following", 0, 0, G_OPTION_ARG_STRING, &raw->following,
       "How the application is to follow (predictive)", "predictive|specified"},
      {"duration", 0, 0, G_OPTION_ARG_DOUBLE, &raw->duration, "End after this time (0: never)",
       "SECONDS"},
      {"seed", 0, 0, G_OPTION_ARG_INT64, &raw->seed, "Seed of people and noise", "N"},
      {"report", 0, 0, G_OPTION_ARG_FILENAME, &raw->report, "Folder for the report", "DIR"},
      {"daemon", 0, 0, G_OPTION_ARG_FILENAME, &raw->daemon, "Application to start", "PROGRAM"},
      {"restart-daemon", 0, 0, G_OPTION_ARG_NONE, &raw->restartDaemon,
       "Start it again when it ends by itself", nullptr},
      {"head-boot", 0, 0, G_OPTION_ARG_DOUBLE, &raw->headBoot, "Time until the head answers",
       "SECONDS"},
      {"fps", 0, 0, G_OPTION_ARG_INT, &raw->framesPerSecond, "Scene frames per second", "N"},
      {"quiet", 0, 0, G_OPTION_ARG_NONE, &raw->quiet, "No status and log lines", nullptr},
      {"no-log", 0, 0, G_OPTION_ARG_NONE, &raw->noLog,
       "Leave the system log to the machine, which has one already", nullptr},
      {"port", 0, 0, G_OPTION_ARG_STRING, &raw->port, "Port of the web server (0: any free one)",
       "N"},
      {"listen", 0, 0, G_OPTION_ARG_STRING, &raw->listen, "Address of the web server", "ADDRESS"},
      {"user", 0, 0, G_OPTION_ARG_STRING, &raw->user, "User whom the web server asks for", "NAME"},
      {"password-file", 0, 0, G_OPTION_ARG_FILENAME, &raw->passwordFile,
       "File whose first line is the user's password", "FILE"},
      {"web", 0, 0, G_OPTION_ARG_FILENAME, &raw->web, "Folder of the page", "DIR"},
      {"mqtt", 0, 0, G_OPTION_ARG_STRING, &raw->mqtt, "Broker to which events are published",
       "HOST[:PORT]"},
      {"onvif", 0, 0, G_OPTION_ARG_STRING, &raw->onvif,
       "Be an ONVIF camera, too, at this port (0: any free one)", "N"},
      {"onvif-listen", 0, 0, G_OPTION_ARG_STRING, &raw->onvifListen, "Address of the ONVIF camera",
       "ADDRESS"},
      {"onvif-user", 0, 0, G_OPTION_ARG_STRING, &raw->onvifUser,
       "User whom the ONVIF camera asks for", "NAME"},
      {"onvif-password-file", 0, 0, G_OPTION_ARG_FILENAME, &raw->onvifPasswordFile,
       "File whose first line is that user's password", "FILE"},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};

  readOptions("A camera with its PTZ head and the people in front of it.", entries, arguments);
}

void check(const Raw& raw) {
  const std::string transport = raw.transport != nullptr ? raw.transport : "";
  if (!transport.empty() && transport != "socket" && transport != "module") {
    throw OptionError("--transport is socket or module");
  }
  const std::string following = raw.following != nullptr ? raw.following : "predictive";
  if (following != "predictive" && following != "specified") {
    throw OptionError("--following is predictive or specified");
  }
  const std::vector<std::string> scenes = sceneNames();
  if (raw.scene != nullptr && std::ranges::find(scenes, std::string(raw.scene)) == scenes.end()) {
    throw OptionError("--scene is one of " + choicesOf(scenes));
  }
  if (!std::isfinite(raw.duration) || raw.duration < 0) {
    throw OptionError("--duration is a time of 0 or more");
  }
  if (!std::isfinite(raw.headBoot)) {
    throw OptionError("--head-boot is a time");
  }
  if (raw.seed < 0) {
    throw OptionError("--seed is a number of 0 or more");
  }
  if (raw.framesPerSecond < 1 || raw.framesPerSecond > 100) {
    throw OptionError("--fps is a number from 1 to 100");
  }
}

WebOptions webOptionsOf(const Raw& raw) try {
  return readWebOptions({.address = raw.listen,
                         .port = raw.port,
                         .user = raw.user,
                         .passwordFile = raw.passwordFile,
                         .folder = raw.web != nullptr ? raw.web : DEVICE_WEB,
                         .broker = raw.mqtt});
} catch (const WebOptionError& error) {
  throw OptionError(error.what());
}

std::optional<onvif::OnvifOptions> onvifOptionsOf(const Raw& raw) try {
  return onvif::readOnvifOptions({.port = raw.onvif,
                                  .address = raw.onvifListen,
                                  .user = raw.onvifUser,
                                  .passwordFile = raw.onvifPasswordFile});
} catch (const WebOptionError& error) {
  throw OptionError(error.what());
}

}  // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
  Raw raw;
  parse(arguments, &raw);
  check(raw);

  Options options;
  if (raw.model != nullptr) {
    options.model = raw.model;
  }
  options.models = raw.models != nullptr ? raw.models : DEVICE_MODELS;
  if (raw.tracks != nullptr) {
    options.tracks = raw.tracks;
  }
  if (raw.scene != nullptr) {
    options.scene = raw.scene;
  }
  options.asRecorded = raw.asRecorded != FALSE;
  if (raw.transport != nullptr) {
    options.transport = raw.transport;
  }
  if (raw.following != nullptr) {
    options.following = raw.following;
  }
  options.duration = raw.duration;
  options.seed = static_cast<std::uint64_t>(raw.seed);
  if (raw.report != nullptr) {
    options.report = raw.report;
  }
  if (raw.daemon != nullptr) {
    options.daemon = raw.daemon;
  }
  options.restartDaemon = raw.restartDaemon != FALSE;
  if (raw.headBoot >= 0) {
    options.headBoot = raw.headBoot;
  }
  options.framesPerSecond = raw.framesPerSecond;
  options.quiet = raw.quiet != FALSE;
  options.log = raw.noLog == FALSE;
  options.web = webOptionsOf(raw);
  options.onvif = onvifOptionsOf(raw);
  return options;
}

}  // namespace device
