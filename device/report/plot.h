#ifndef DEVICE_REPORT_PLOT_H
#define DEVICE_REPORT_PLOT_H

#include <filesystem>
#include <string>

#include "report/session.h"

namespace device {

// Draws head and target over time (pan, tilt and zoom) with alarms, steering and states marked, as
// plot.svg and plot.png of an existing folder, by running gnuplot. Returns an empty text, or a
// message for the user when a plot could not be made.
std::string drawPlots(const Session& session, const std::string& title,
                      const std::filesystem::path& folder);

// What gnuplot is told to draw, for one terminal ("svg" or "png") and output file.
std::string plotScript(const Session& session, const std::string& title,
                       const std::string& terminal, const std::string& file);

}  // namespace device

#endif
