#include "score/options.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "world/scenes.h"

namespace score {

namespace {

// Where GOption leaves what it reads; texts are its own.
struct Raw {
  char* models = nullptr;
  char* model = nullptr;
  char* following = nullptr;
  gint64 seed = 1;
  double seconds = -1;
  char* scene = nullptr;
  char* tracks = nullptr;
  char* mast = nullptr;
  char* home = nullptr;
  gboolean whole = FALSE;
  gboolean alone = FALSE;
  char* share = nullptr;
  gboolean fromStart = FALSE;

  Raw() = default;
  Raw(const Raw&) = delete;
  Raw& operator=(const Raw&) = delete;
  ~Raw() {
    for (char* text : {models, model, following, scene, tracks, mast, home, share}) {
      g_free(text);
    }
  }
};

void parse(const std::vector<std::string>& arguments, Raw& raw) {
  const std::vector<GOptionEntry> entries = {
      {"models", 0, 0, G_OPTION_ARG_FILENAME, &raw.models, "Folder of the models", "DIR"},
      {"model", 0, 0, G_OPTION_ARG_STRING, &raw.model, "Model by name", "NAME"},
      {"following", 0, 0, G_OPTION_ARG_STRING, &raw.following, "The way of following",
       "specified|predictive"},
      {"seed", 0, 0, G_OPTION_ARG_INT64, &raw.seed, "Seed of all chance", "N"},
      {"seconds", 0, 0, G_OPTION_ARG_DOUBLE, &raw.seconds, "Length of the run", "N"},
      {"scene", 0, 0, G_OPTION_ARG_STRING, &raw.scene, "Another scene than the model's", "NAME"},
      {"tracks", 0, 0, G_OPTION_ARG_FILENAME, &raw.tracks, "Recording of people", "FILE"},
      {"mast", 0, 0, G_OPTION_ARG_STRING, &raw.mast, "Where the mast stands in it", "X,Y"},
      {"home", 0, 0, G_OPTION_ARG_STRING, &raw.home, "Where the head looks at home", "X,Y"},
      {"whole", 0, 0, G_OPTION_ARG_NONE, &raw.whole, "All people at once", nullptr},
      {"alone", 0, 0, G_OPTION_ARG_NONE, &raw.alone,
       "One by one, nobody else may be followed meanwhile", nullptr},
      {"share", 0, 0, G_OPTION_ARG_STRING, &raw.share, "Every N-th person, from the K-th on",
       "K/N"},
      {"from-start", 0, 0, G_OPTION_ARG_NONE, &raw.fromStart,
       "From the device's start on, all people at once", nullptr},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  readOptions("Scores one head with one seed; script/score runs it.", entries, arguments);
}

device::GroundPoint readPoint(const char* option, const char* text) {
  device::GroundPoint point;
  char rest = 0;
  const int read = text != nullptr ? std::sscanf(text, "%lf,%lf%c", &point.x, &point.y, &rest) : 0;
  if (read != 2 || !std::isfinite(point.x) || !std::isfinite(point.y)) {
    throw OptionError(std::string(option) + " is a place of the recording, X,Y in metres");
  }
  return point;
}

void readShare(const char* text, JobOptions& options) {
  int share = 0;
  int shares = 0;
  char rest = 0;
  const bool isRead = std::sscanf(text, "%d/%d%c", &share, &shares, &rest) == 2;
  if (!isRead || shares < 1 || share < 1 || share > shares) {
    throw OptionError("--share is K/N with K from 1 to N");
  }
  options.share = share - 1;
  options.shares = shares;
}

void readRecording(const Raw& raw, JobOptions& options) {
  options.tracks = raw.tracks;
  options.place = {.mast = readPoint("--mast", raw.mast), .home = readPoint("--home", raw.home)};
  options.isWhole = raw.whole != FALSE || raw.fromStart != FALSE;
  options.isAlone = raw.alone != FALSE;
  if (raw.share != nullptr) {
    readShare(raw.share, options);
  }
}

void check(const Raw& raw) {
  if (raw.models == nullptr || raw.model == nullptr) {
    throw OptionError("--models and --model are needed");
  }
  const std::string following = raw.following != nullptr ? raw.following : "specified";
  if (following != "specified" && following != "predictive") {
    throw OptionError("--following is specified or predictive");
  }
  const std::vector<std::string> scenes = device::sceneNames();
  if (raw.scene != nullptr && std::ranges::find(scenes, std::string(raw.scene)) == scenes.end()) {
    throw OptionError(std::string("There is no scene ") + raw.scene);
  }
  if (raw.seed < 0) {
    throw OptionError("--seed is a number of 0 or more");
  }
  if (!std::isfinite(raw.seconds) || (raw.seconds != -1 && raw.seconds <= 0)) {
    throw OptionError("--seconds is a time above 0");
  }
}

}  // namespace

JobOptions parseOptions(const std::vector<std::string>& arguments) {
  Raw raw;
  parse(arguments, raw);
  check(raw);
  JobOptions options;
  options.models = raw.models;
  options.model = raw.model;
  if (raw.following != nullptr) {
    options.following = raw.following;
  }
  options.seed = static_cast<std::uint64_t>(raw.seed);
  if (raw.seconds > 0) {
    options.seconds = raw.seconds;
  }
  if (raw.scene != nullptr) {
    options.scene = raw.scene;
  }
  options.isFromStart = raw.fromStart != FALSE;
  if (raw.tracks != nullptr) {
    readRecording(raw, options);
  }
  return options;
}

}  // namespace score
