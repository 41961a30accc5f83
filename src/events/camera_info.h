#ifndef EVENTS_CAMERA_INFO_H
#define EVENTS_CAMERA_INFO_H

#include <string>

#include "app/api_version.h"

// What the device says about itself, read from its parameter store. Answers that cannot change
// while the application runs are kept for the life of the process. Any thread; not before
// sdk_wrapper_init, because an unreadable parameter reads as empty and some answers are kept.
class CameraInfo {
 public:
  CameraInfo() = delete;

  // The product number. Not kept.
  static std::string getProdNbr();

  // Whether the device itself has a mechanical PTZ head. One that drives a remote head, a digital
  // PTZ or a PTZ driver framework has not. Kept.
  static bool isMechanicalPTZ();

  // Version of the platform's development interface. Kept once it is valid.
  static API_Version getSDK_Version();

  // Number of video sources; 0 when the device has several but does not tell how many. Kept.
  static int getNbrOfCameras();

  static bool isMultiCamera();

  // The name of camera 1 to getNbrOfCameras(); empty, with a warning, for another number.
  // Only for other applications of these classes.
  static std::string getCameraName(int camera);
};

#endif
