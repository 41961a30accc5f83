#include "app/options.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "web_server/web_command_line.h"
#include "world/scenes.h"

namespace device {

namespace {

// Where GOption leaves what it reads.
struct Raw {
  OptionText model;
  OptionText models;
  OptionText tracks;
  gboolean asRecorded = FALSE;
  OptionText scene;
  OptionText transport;
  OptionText following;
  double duration = 0;
  gint64 seed = 1;
  OptionText report;
  double scoreFrom = -1;
  OptionText daemon;
  gboolean restartDaemon = FALSE;
  double headBoot = -1;
  int framesPerSecond = 10;
  gboolean quiet = FALSE;
  gboolean noLog = FALSE;
  WebCommandLine web;
  OptionText onvif;
  OptionText onvifListen;
  OptionText onvifUser;
  OptionText onvifPasswordFile;
  OptionText onvifFaults;
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
  std::vector<GOptionEntry> entries = {
      {"model", 0, 0, G_OPTION_ARG_STRING, raw->model.out(), "Model by name, or its file", "NAME"},
      {"models", 0, 0, G_OPTION_ARG_FILENAME, raw->models.out(), "Folder of the models", "DIR"},
      {"tracks", 0, 0, G_OPTION_ARG_FILENAME, raw->tracks.out(), "Recording of people to play",
       "FILE"},
      {"as-recorded", 0, 0, G_OPTION_ARG_NONE, &raw->asRecorded,
       "Play it without adding rests in which nobody is there", nullptr},
      {"scene", 0, 0, G_OPTION_ARG_STRING, raw->scene.out(),
       "Where people walk and who they are (as the model says)", sceneChoices.c_str()},
      {"transport", 0, 0, G_OPTION_ARG_STRING, raw->transport.out(), "How scene frames are offered",
       "socket|module"},
      {"following", 0, 0, G_OPTION_ARG_STRING, raw->following.out(),
       "How the application is to follow (predictive)", "predictive|specified"},
      {"duration", 0, 0, G_OPTION_ARG_DOUBLE, &raw->duration, "End after this time (0: never)",
       "SECONDS"},
      {"seed", 0, 0, G_OPTION_ARG_INT64, &raw->seed, "Seed of people and noise", "N"},
      {"report", 0, 0, G_OPTION_ARG_FILENAME, raw->report.out(), "Folder for the report", "DIR"},
      {"score-from", 0, 0, G_OPTION_ARG_DOUBLE, &raw->scoreFrom,
       "Score what comes from this moment on (from the application's first running on)", "SECONDS"},
      {"daemon", 0, 0, G_OPTION_ARG_FILENAME, raw->daemon.out(), "Application to start", "PROGRAM"},
      {"restart-daemon", 0, 0, G_OPTION_ARG_NONE, &raw->restartDaemon,
       "Start it again when it ends by itself", nullptr},
      {"head-boot", 0, 0, G_OPTION_ARG_DOUBLE, &raw->headBoot, "Time until the head answers",
       "SECONDS"},
      {"fps", 0, 0, G_OPTION_ARG_INT, &raw->framesPerSecond, "Scene frames per second", "N"},
      {"quiet", 0, 0, G_OPTION_ARG_NONE, &raw->quiet, "No status and log lines", nullptr},
      {"no-log", 0, 0, G_OPTION_ARG_NONE, &raw->noLog,
       "Leave the system log to the machine, which has one already", nullptr},
      {"onvif", 0, 0, G_OPTION_ARG_STRING, raw->onvif.out(),
       "Be an ONVIF camera, too, at this port (0: any free one)", "N"},
      {"onvif-listen", 0, 0, G_OPTION_ARG_STRING, raw->onvifListen.out(),
       "Address of the ONVIF camera", "ADDRESS"},
      {"onvif-user", 0, 0, G_OPTION_ARG_STRING, raw->onvifUser.out(),
       "User whom the ONVIF camera asks for", "NAME"},
      {"onvif-password-file", 0, 0, G_OPTION_ARG_FILENAME, raw->onvifPasswordFile.out(),
       "File whose first line is that user's password", "FILE"},
      {"onvif-faults", 0, 0, G_OPTION_ARG_STRING, raw->onvifFaults.out(),
       "Do wrong what is named, for trying software against imperfect cameras (see docs/onvif.md)",
       "PLACE:FAULT,..."},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  const std::vector<GOptionEntry> web = raw->web.entries();
  entries.insert(entries.end() - 1, web.begin(), web.end());

  readOptions("A camera with its PTZ head and the people in front of it.", entries, arguments);
}

void check(const Raw& raw) {
  const std::string transport = raw.transport.get() != nullptr ? raw.transport.get() : "";
  if (!transport.empty() && transport != "socket" && transport != "module") {
    throw OptionError("--transport is socket or module");
  }
  const std::string following = raw.following.get() != nullptr ? raw.following.get() : "predictive";
  if (following != "predictive" && following != "specified") {
    throw OptionError("--following is predictive or specified");
  }
  const std::vector<std::string> scenes = sceneNames();
  if (raw.scene.get() != nullptr &&
      std::ranges::find(scenes, std::string(raw.scene.get())) == scenes.end()) {
    throw OptionError("--scene is one of " + choicesOf(scenes));
  }
  if (!std::isfinite(raw.duration) || raw.duration < 0) {
    throw OptionError("--duration is a time of 0 or more");
  }
  if (!std::isfinite(raw.scoreFrom)) {
    throw OptionError("--score-from is a time");
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

std::optional<onvif::OnvifOptions> onvifOptionsOf(const Raw& raw) try {
  return onvif::readOnvifOptions({.port = raw.onvif.get(),
                                  .address = raw.onvifListen.get(),
                                  .user = raw.onvifUser.get(),
                                  .passwordFile = raw.onvifPasswordFile.get(),
                                  .faults = raw.onvifFaults.get()});
} catch (const WebOptionError& error) {
  throw OptionError(error.what());
}

}  // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
  Raw raw;
  parse(arguments, &raw);
  check(raw);

  Options options;
  if (raw.model.get() != nullptr) {
    options.model = raw.model.get();
  }
  options.models = raw.models.get() != nullptr ? raw.models.get() : DEVICE_MODELS;
  if (raw.tracks.get() != nullptr) {
    options.tracks = raw.tracks.get();
  }
  if (raw.scene.get() != nullptr) {
    options.scene = raw.scene.get();
  }
  options.asRecorded = raw.asRecorded != FALSE;
  if (raw.transport.get() != nullptr) {
    options.transport = raw.transport.get();
  }
  if (raw.following.get() != nullptr) {
    options.following = raw.following.get();
  }
  options.duration = raw.duration;
  options.seed = static_cast<std::uint64_t>(raw.seed);
  if (raw.report.get() != nullptr) {
    options.report = raw.report.get();
  }
  if (raw.scoreFrom >= 0) {
    options.scoreFrom = raw.scoreFrom;
  }
  if (raw.daemon.get() != nullptr) {
    options.daemon = raw.daemon.get();
  }
  options.restartDaemon = raw.restartDaemon != FALSE;
  if (raw.headBoot >= 0) {
    options.headBoot = raw.headBoot;
  }
  options.framesPerSecond = raw.framesPerSecond;
  options.quiet = raw.quiet != FALSE;
  options.log = raw.noLog == FALSE;
  options.web = raw.web.read(DEVICE_WEB);
  options.onvif = onvifOptionsOf(raw);
  return options;
}

}  // namespace device
