#include "score/options.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "world/scenes.h"

namespace score {

namespace {

// Where GOption leaves what it reads.
struct Raw {
  OptionText models;
  OptionText model;
  OptionText following;
  gint64 seed = 1;
  double seconds = -1;
  OptionText scene;
  OptionText tracks;
  OptionText mast;
  OptionText home;
  gboolean whole = FALSE;
  gboolean alone = FALSE;
  OptionText share;
  gboolean fromStart = FALSE;
  OptionText samples;
};

void parse(const std::vector<std::string>& arguments, Raw& raw) {
  const std::vector<GOptionEntry> entries = {
      {"models", 0, 0, G_OPTION_ARG_FILENAME, raw.models.out(), "Folder of the models", "DIR"},
      {"model", 0, 0, G_OPTION_ARG_STRING, raw.model.out(), "Model by name", "NAME"},
      {"following", 0, 0, G_OPTION_ARG_STRING, raw.following.out(), "The way of following",
       "specified|predictive"},
      {"seed", 0, 0, G_OPTION_ARG_INT64, &raw.seed, "Seed of all chance", "N"},
      {"seconds", 0, 0, G_OPTION_ARG_DOUBLE, &raw.seconds, "Length of the run", "N"},
      {"scene", 0, 0, G_OPTION_ARG_STRING, raw.scene.out(), "Another scene than the model's",
       "NAME"},
      {"tracks", 0, 0, G_OPTION_ARG_FILENAME, raw.tracks.out(), "Recording of people", "FILE"},
      {"mast", 0, 0, G_OPTION_ARG_STRING, raw.mast.out(), "Where the mast stands in it", "X,Y"},
      {"home", 0, 0, G_OPTION_ARG_STRING, raw.home.out(), "Where the head looks at home", "X,Y"},
      {"whole", 0, 0, G_OPTION_ARG_NONE, &raw.whole, "All people at once", nullptr},
      {"alone", 0, 0, G_OPTION_ARG_NONE, &raw.alone,
       "One by one, nobody else may be followed meanwhile", nullptr},
      {"share", 0, 0, G_OPTION_ARG_STRING, raw.share.out(), "Every N-th person, from the K-th on",
       "K/N"},
      {"from-start", 0, 0, G_OPTION_ARG_NONE, &raw.fromStart,
       "From the device's start on, all people at once", nullptr},
      {"samples", 0, 0, G_OPTION_ARG_FILENAME, raw.samples.out(),
       "Write the samples of all people at once there, as samples.csv of a report", "FILE"},
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
  options.tracks = raw.tracks.get();
  options.place = {.mast = readPoint("--mast", raw.mast.get()),
                   .home = readPoint("--home", raw.home.get())};
  options.isWhole = raw.whole != FALSE || raw.fromStart != FALSE;
  options.isAlone = raw.alone != FALSE;
  if (raw.share.get() != nullptr) {
    readShare(raw.share.get(), options);
  }
}

void check(const Raw& raw) {
  if (raw.models.get() == nullptr || raw.model.get() == nullptr) {
    throw OptionError("--models and --model are needed");
  }
  const std::string following = raw.following.get() != nullptr ? raw.following.get() : "specified";
  if (following != "specified" && following != "predictive") {
    throw OptionError("--following is specified or predictive");
  }
  const std::vector<std::string> scenes = device::sceneNames();
  if (raw.scene.get() != nullptr &&
      std::ranges::find(scenes, std::string(raw.scene.get())) == scenes.end()) {
    throw OptionError(std::string("There is no scene ") + raw.scene.get());
  }
  if (raw.seed < 0) {
    throw OptionError("--seed is a number of 0 or more");
  }
  if (!std::isfinite(raw.seconds) || (raw.seconds != -1 && raw.seconds <= 0)) {
    throw OptionError("--seconds is a time above 0");
  }
  const bool isOneByOne =
      raw.tracks.get() != nullptr && raw.whole == FALSE && raw.fromStart == FALSE;
  if (raw.samples.get() != nullptr && isOneByOne) {
    throw OptionError("--samples is of all people at once");
  }
}

}  // namespace

JobOptions parseOptions(const std::vector<std::string>& arguments) {
  Raw raw;
  parse(arguments, raw);
  check(raw);
  JobOptions options;
  options.models = raw.models.get();
  options.model = raw.model.get();
  if (raw.following.get() != nullptr) {
    options.following = raw.following.get();
  }
  options.seed = static_cast<std::uint64_t>(raw.seed);
  if (raw.seconds > 0) {
    options.seconds = raw.seconds;
  }
  if (raw.scene.get() != nullptr) {
    options.scene = raw.scene.get();
  }
  options.isFromStart = raw.fromStart != FALSE;
  if (raw.tracks.get() != nullptr) {
    readRecording(raw, options);
  }
  if (raw.samples.get() != nullptr) {
    options.samples = raw.samples.get();
  }
  return options;
}

}  // namespace score
