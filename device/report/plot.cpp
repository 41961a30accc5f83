#include "report/plot.h"

#include <glib.h>

#include <cmath>
#include <fstream>
#include <locale>
#include <memory>
#include <optional>
#include <sstream>
#include <system_error>

#include "base/glib_ptr.h"

namespace device {
namespace {

constexpr const char* SVG_TERMINAL = "set terminal svg size 1200,1100 background 'white'";
constexpr const char* PNG_TERMINAL = "set terminal pngcairo size 1200,1100";

// One line of data. NaN leaves a gap in a curve.
void addRow(std::ostream& out, const Moment& moment, bool isSeam) {
  out << moment.time << ' ';
  if (isSeam) {
    out << "NaN";
  } else {
    out << moment.axis.pan;
  }
  out << ' ' << moment.axis.tilt << ' ' << moment.zoom;
  if (moment.followed) {
    out << ' ' << moment.followed->pan << ' ' << moment.followed->tilt;
  } else {
    out << " NaN NaN";
  }
  // A logarithmic scale has no 0.
  if (moment.density > 0) {
    out << ' ' << moment.density << '\n';
  } else {
    out << " NaN\n";
  }
}

void addData(std::ostream& out, const std::vector<Moment>& moments) {
  out << "$data << END\n";
  std::optional<double> lastPan;
  for (const Moment& moment : moments) {
    const bool isSeam = lastPan && std::abs(moment.axis.pan - *lastPan) > 180;
    lastPan = moment.axis.pan;
    addRow(out, moment, isSeam);
  }
  if (moments.empty()) {
    out << "0 NaN NaN NaN NaN NaN NaN\n";
  }
  out << "END\n";
}

// Bars over part of every diagram's height, from share to share.
void addBars(std::ostream& out, const std::vector<Interval>& intervals, double end, double low,
             double high, const char* colour) {
  for (const Interval& interval : intervals) {
    out << "set object rectangle from first " << interval.start << ", graph " << low << " to first "
        << interval.end.value_or(end) << ", graph " << high << " behind fillcolor rgb '" << colour
        << "' fillstyle solid 1.0 noborder\n";
  }
}

void addStates(std::ostream& out, const std::vector<Mark>& states) {
  for (const Mark& state : states) {
    out << "set arrow from first " << state.time << ", graph 0 to first " << state.time
        << ", graph 1 nohead linecolor rgb '#808080' dashtype 3\n";
  }
}

void addStateNames(std::ostream& out, const std::vector<Mark>& states) {
  int row = 0;
  for (const Mark& state : states) {
    out << "set label '" << state.name << "' at first " << state.time << ", graph "
        << 0.96 - 0.06 * (row++ % 3) << " offset character 0.5, 0 front noenhanced\n";
  }
}

std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) {
    result += c == '\'' ? "''" : std::string(1, c == '\n' ? ' ' : c);
  }
  return result + "'";
}

std::string lastLine(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
    text.pop_back();
  }
  return text.substr(text.rfind('\n') + 1);
}

// Runs gnuplot on a script file; an empty text, or what went wrong.
std::string runGnuplot(const std::string& script) {
  std::string program = "gnuplot";
  std::string argument = script;
  char* arguments[] = {program.data(), argument.data(), nullptr};
  char* complaint = nullptr;
  int status = 0;
  GError* error = nullptr;
  const gboolean ran =
      g_spawn_sync(nullptr, arguments, nullptr,
                   static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL),
                   nullptr, nullptr, nullptr, &complaint, &status, &error);
  const GTextPtr ownedComplaint(complaint);
  const GErrorPtr ownedError(error);
  if (!ran) {
    return std::string("gnuplot cannot be run (package gnuplot-nox): ") + error->message;
  }
  if (status != 0) {
    return "gnuplot failed: " + lastLine(complaint ? complaint : "");
  }
  return {};
}

}  // namespace

std::string plotScript(const Session& session, const std::string& title,
                       const std::string& terminal, const std::string& file) {
  const double end = session.moments.empty() ? 1 : session.moments.back().time;
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << (terminal == "svg" ? SVG_TERMINAL : PNG_TERMINAL) << "\n"
      << "set output " << quoted(file) << "\n";
  addData(out, session.moments);
  out << "set multiplot layout 4,1 title " << quoted(title)
      << " noenhanced margins 0.07,0.98,0.07,0.91 spacing 0.05,0.06\n"
      << "set xrange [0:" << (end > 0 ? end : 1) << "]\n"
      << "set grid\n"
      << "set key at graph 1, graph 1 right bottom horizontal\n";
  if (session.moments.empty()) {
    out << "set yrange [-1:1]\n";  // gnuplot finds no range without a point
  }
  addBars(out, session.alarms, end, 0, 1, "#fff0d0");
  addBars(out, session.steering, end, 0, 0.04, "#70c070");
  addStates(out, session.states);
  addStateNames(out, session.states);
  out << "set ylabel 'pan (degrees)'\n"
      << "plot $data using 1:5 with points pointtype 7 pointsize 0.2 linecolor rgb '#d04040' "
         "title 'followed person', $data using 1:2 with lines linewidth 1.5 linecolor rgb "
         "'#2050b0' title 'head', NaN with boxes fillstyle solid linecolor rgb '#fff0d0' title "
         "'alarm', NaN with boxes fillstyle solid linecolor rgb '#70c070' title 'steering'\n"
      << "unset label\n"
      << "set ylabel 'tilt (degrees)'\n"
      << "plot $data using 1:6 with points pointtype 7 pointsize 0.2 linecolor rgb '#d04040' "
         "notitle, $data using 1:3 with lines linewidth 1.5 linecolor rgb '#2050b0' notitle\n"
      << "set ylabel 'zoom (times)'\nset yrange [0:" << (session.moments.empty() ? "1" : "*")
      << "]\n"
      << "plot $data using 1:4 with lines linewidth 1.5 linecolor rgb '#2050b0' notitle\n"
      << "set ylabel 'pixels a metre'\nset xlabel 'time (s)'\nset logscale y\n"
      << "set yrange [10:2000]\nset ytics (25, 125, 250, 1000)\n"
      << "plot $data using 1:7 with points pointtype 7 pointsize 0.2 linecolor rgb '#208040' "
         "title 'on the followed person, wholly in the picture'\n"
      << "unset multiplot\n";
  return out.str();
}

std::string drawPlots(const Session& session, const std::string& title,
                      const std::filesystem::path& folder) {
  const std::filesystem::path script = folder / "plot.gnuplot";
  std::string message;
  for (const std::string terminal : {"svg", "png"}) {
    const std::filesystem::path picture = folder / ("plot." + terminal);
    std::ofstream out(script);
    out << plotScript(session, title, terminal, picture.string());
    out.close();
    message = out ? runGnuplot(script.string()) : script.string() + " cannot be written";
    if (!message.empty()) {
      break;
    }
  }
  std::error_code ignored;
  std::filesystem::remove(script, ignored);
  return message;
}

}  // namespace device
