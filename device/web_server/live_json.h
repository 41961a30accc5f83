#ifndef DEVICE_WEB_SERVER_LIVE_JSON_H
#define DEVICE_WEB_SERVER_LIVE_JSON_H

#include <string>
#include <vector>

#include "head/head.h"
#include "model/model.h"
#include "report/report.h"
#include "services/syslog_server.h"
#include "world/frame.h"
#include "world/world.h"

namespace device {

// The messages of the page's live stream, each in one line. Times are seconds since the device's
// start, angles degrees in the head's frame, places metres from the mast's foot.

// The device itself. A channel's width and height are pixels of the sensor, whose orientation the
// frames have; its field angles are those of the upright picture.
std::string modelJson(const Model& model, const RunInfo& run, const World& world);

std::string daemonJson(bool running);

// camera counts from 1. Polygons lie in the scene's coordinates, -1 to 1 with y upwards.
std::string frameJson(double time, int camera, const Frame& frame);

std::string headJson(double time, const HeadStatus& head);

// mastHeight: metres. A person's height is metres as well, the distance goes from the head to the
// person's centre.
std::string worldJson(double time, const std::vector<PersonView>& people, double mastHeight);

// The running score, and how the head was tuned.
std::string runningScoreJson(double time, const RunningScore& score, const TuningFigures& tuning);

std::string logJson(double time, const SyslogLine& line);

}  // namespace device

#endif
