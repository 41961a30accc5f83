#include "report/report.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "base/json_auto_ptr.h"
#include "base/json_text.h"
#include "report/plot.h"
#include "report/samples_csv.h"
#include "report/score_json.h"
#include "score/baselines.h"
#include "score/head_view.h"

namespace device {
namespace {

json_t* poseJson(const HeadPose& pose) {
  json_t* object = json_object();
  json_object_set_new(object, "pan_deg", jsonOf(pose.pan));
  json_object_set_new(object, "tilt_deg", jsonOf(pose.tilt));
  json_object_set_new(object, "field_deg", jsonOf(pose.field));
  return object;
}

json_t* axisJson(const AxisSetup& axis) {
  json_t* object = json_object();
  json_object_set_new(object, "speed_deg_per_s", jsonOf(axis.speed));
  json_object_set_new(object, "acceleration_deg_per_s2", jsonOf(axis.acceleration));
  json_object_set_new(object, "low_deg", jsonOf(axis.low));
  json_object_set_new(object, "high_deg", jsonOf(axis.high));
  return object;
}

// What the other heads may do.
json_t* headJson(const HeadSetup& head) {
  json_t* object = json_object();
  json_object_set_new(object, "pan", axisJson(head.pan));
  json_object_set_new(object, "tilt", axisJson(head.tilt));
  json_object_set_new(object, "narrowest_field_deg", jsonOf(Head::fieldAngle(head, head.maxZoom)));
  json_object_set_new(object, "widest_field_deg", jsonOf(Head::fieldAngle(head, head.minZoom)));
  return object;
}

json_t* setupJson(const ReportSetup& setup) {
  json_t* object = json_object();
  json_object_set_new(object, "mast_height_m", jsonOf(setup.score.mastHeight));
  json_object_set_new(object, "picture_width_px", jsonOf(setup.score.pictureWidth));
  json_object_set_new(object, "picture_height_px", jsonOf(setup.score.pictureHeight));
  json_object_set_new(object, "head", headJson(setup.head));
  return object;
}

// A parked head's score, and where it looked.
json_t* parkedJson(const ScoreFigures& figures, const HeadPose& pose) {
  json_t* object = scoreJson(figures);
  json_object_set_new(object, "pose", poseJson(pose));
  return object;
}

double steeredSeconds(const std::vector<Interval>& steering, double end) {
  double seconds = 0;
  for (const Interval& interval : steering) {
    seconds += std::max(interval.end.value_or(end) - interval.start, 0.0);
  }
  return seconds;
}

void writeText(const std::filesystem::path& file, const std::string& text) {
  std::ofstream out(file);
  out << text;
  out.close();
  if (!out) {
    throw std::runtime_error(file.string() + " cannot be written");
  }
}

}  // namespace

// The scored samples' worth.
struct Report::Judgement {
  ScoreFigures score;
  ScoreFigures home;
  ScoreFigures fixed;
  ScoreFigures bound;
  HeadPose homePose;
  HeadPose fixedPose;
  std::vector<HeadPose> boundPoses;
};

Report::Report(RunInfo info, const ReportSetup& setup)
    : info(std::move(info)), setup(setup), scorer(setup.score, setup.keepsSamples) {}

void Report::alarmStarted(double time) {
  session.alarms.push_back({time, std::nullopt});
}

void Report::alarmEnded(double time) {
  const auto open = std::find_if(session.alarms.begin(), session.alarms.end(),
                                 [](const Interval& alarm) { return !alarm.end; });
  if (open != session.alarms.end()) {
    open->end = time;
  }
}

void Report::trackerState(double time, std::string_view state) {
  tuningWatch.state(time, state);
  if (session.states.empty() || session.states.back().name != state) {
    session.states.push_back({time, std::string(state)});
  }
}

void Report::sentreling(double time, bool active) {
  std::vector<Interval>& steering = session.steering;
  const bool isActive = !steering.empty() && !steering.back().end;
  if (active == isActive) {
    return;
  }
  if (active) {
    steering.push_back({time, std::nullopt});
  } else {
    steering.back().end = time;
  }
}

void Report::sample(const ScoreSample& sample) {
  lastTime = sample.time;
  if (isScored(sample.time)) {
    scorer.add(sample);
  }
  if (setup.keepsSamples) {
    samples.push_back(sample);
    note(sample);
  }
}

// For the plots.
void Report::note(const ScoreSample& sample) {
  Moment moment{.time = sample.time,
                .axis = {sample.head.pan, sample.head.tilt},
                .zoom = Head::fieldAngle(setup.head, setup.head.minZoom) / sample.head.field};
  const std::optional<int> followed = isScored(sample.time) ? scorer.followed() : std::nullopt;
  const auto person = std::ranges::find_if(
      sample.people, [&](const ScoredPerson& other) { return other.id == followed; });
  if (person != sample.people.end()) {
    const PersonInView view = HeadView(sample.head, setup.score).viewOf(*person);
    moment.followed = middleOf(*person, setup.score);
    moment.density = view.wholeInPicture ? view.density : 0;
  }
  session.moments.push_back(moment);
}

std::optional<double> Report::firstRunning() const {
  const auto running = std::ranges::find(session.states, "running", &Mark::name);
  return running == session.states.end() ? std::nullopt : std::optional(running->time);
}

bool Report::isScored(double time) const {
  const std::optional<double> start = setup.scoredFrom ? setup.scoredFrom : firstRunning();
  return start && time >= *start;
}

std::span<const ScoreSample> Report::scoredSamples() const {
  const auto first = std::ranges::find_if(
      samples, [&](const ScoreSample& sample) { return isScored(sample.time); });
  return {first, samples.end()};
}

Report::Judgement Report::judge() const {
  const std::span<const ScoreSample> scored = scoredSamples();
  Judgement judgement;
  judgement.score = scorer.figures();
  judgement.homePose = homePose(setup.head);
  judgement.fixedPose = bestFixedPose(scored, setup.score, setup.head);
  judgement.boundPoses = clairvoyantPoses(scored, setup.score, setup.head);
  judgement.home = scoreWith(scored, std::span(&judgement.homePose, 1), setup.score);
  judgement.fixed = scoreWith(scored, std::span(&judgement.fixedPose, 1), setup.score);
  judgement.bound = scoreWith(scored, judgement.boundPoses, setup.score);
  return judgement;
}

std::string Report::toJson() const {
  return toJson(judge());
}

std::string Report::toJson(const Judgement& judgement) const {
  const JsonAutoPtr json(json_object());
  const auto set = [&](const char* key, json_t* value) {
    json_object_set_new(json.get(), key, value);
  };
  const auto ended = std::ranges::count_if(
      session.alarms, [](const Interval& alarm) { return alarm.end.has_value(); });
  set("model", jsonOf(info.model));
  set("tracks", jsonOf(info.tracks));
  set("scene", jsonOf(info.scene));
  set("transport", jsonOf(info.transport));
  set("seed", json_integer(static_cast<json_int_t>(info.seed)));
  set("duration_s", jsonOf(lastTime));
  set("state_running_after_s", jsonOf(firstRunning()));
  set("frames", json_integer(frames));
  set("alarms_started", json_integer(static_cast<json_int_t>(session.alarms.size())));
  set("alarms_ended", json_integer(ended));
  set("followed_s", jsonOf(steeredSeconds(session.steering, lastTime)));
  set("tuning", tuningJson(tuning()));
  set("setup", setupJson(setup));
  set("score", scoreJson(judgement.score));
  json_t* baselines = json_object();
  json_object_set_new(baselines, "home", parkedJson(judgement.home, judgement.homePose));
  json_object_set_new(baselines, "fixed", parkedJson(judgement.fixed, judgement.fixedPose));
  json_object_set_new(baselines, "bound", scoreJson(judgement.bound));
  set("baselines", baselines);
  set("people", peopleJson(judgement.score));
  return toText(json.get(), JSON_INDENT(2) | JSON_PRESERVE_ORDER | JSON_REAL_PRECISION(9)) + "\n";
}

std::string Report::write(const std::filesystem::path& folder) const {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  const Judgement judgement = judge();
  writeText(folder / "report.json", toJson(judgement));
  std::ostringstream csv;
  writeSamples(csv, samples, judgement.boundPoses);
  writeText(folder / "samples.csv", csv.str());
  const std::string title = info.model + ", " + info.tracks + ", " + info.transport + ", seed " +
                            std::to_string(info.seed);
  return drawPlots(session, title, folder);
}

}  // namespace device
