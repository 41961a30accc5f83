#ifndef DEVICE_WEB_SERVER_CALIBRATION_API_H
#define DEVICE_WEB_SERVER_CALIBRATION_API_H

#include <functional>
#include <optional>
#include <string>

#include "web_server/web_server.h"

namespace device {

// What the page needs to calibrate an overview camera against the head. POST with JSON:
//
//   /api/calibration
//     {"width":1920,"height":1080,"click_deviation_px":2,"points":[{"x":-0.5,"y":0.2,"pan":31.5,
//      "tilt":-12.25},..],"heights":{"camera_m":5,"head_m":5}}
//     x and y: -1 to 1 to the right and up of the picture as it is seen; pan and tilt: degrees;
//     click_deviation_px and heights may be missing, without heights no offset is sought. The
//     answer is
//     {"data":{"pan":..,"tilt":..,"roll":..,"hfov":..,"vfov":..,"distortion":..,"offset_x_m":..,
//      "offset_y_m":..,"click_deviation_px":..,"deviations":{"pan":..,"tilt":..,"roll":..,"hfov":..,
//      "distortion":..,"offset_m":..,"worst":..,"worst_x":..,"worst_y":..},"points":[{"residual":..,
//      "outlier":false,"x":..,"y":..},..]}}
//     where a point's x and y are where the calibration shows what the head sees (null behind it),
//     or
//     {"refusal":{"reason":"onALine","text":"..","points":[..],"residuals":[..]}}; points from 0
//   /api/calibration/head
//     {"pan":20,"tilt":-20,"zoom":5} per cent of full speed, to the right, up and in; the head
//     stops by itself when this is not said again. Without zoom, which may be missing, that goes on
//     as it does. {"data":{}}
//
// What is no such request is answered by 400 and {"error":{"code":"HTTP","message":".."}}.
// The arithmetic takes a fifth of a millisecond, with wrong points some tens of them, and a quarter
// of a second at the worst.

// Is given per cents of full speed, -100 to 100.
using HeadMover = std::function<void(double pan, double tilt, std::optional<double> zoom)>;

WebAnswer answerToCalibration(const std::string& body);
WebAnswer answerToHeadMove(const std::string& body, const HeadMover& move);

// Offers both at a server.
void offerCalibration(WebServer& server, HeadMover move);

}  // namespace device

#endif
