#ifndef CONFIG_PERSISTENT_H
#define CONFIG_PERSISTENT_H

#include <string>

// The application's own operating settings, one JSON object in a file of its own. Nothing is kept
// in memory: every call reads the file, every setter replaces it as a whole, keeping the keys that
// it does not know. There is no lock: of two setters at once one may lose its change.
//
// Getters never fail: a missing file, key or a value of the wrong type (a gain that is no JSON real
// included) gives the default. Setters log their failures; a corrupt file is replaced.
class Persistent {
 public:
  Persistent() = delete;

  // Another file, for tests; empty brings the application's back. Before threads use it.
  static void setPathForTest(const std::string& path);

  // Where a file of that name stands beside the settings.
  static std::string pathBeside(const std::string& name);

  // The product number for which the stored gains were tuned; empty at first.
  static void getCameraName(std::string& name);
  static void setCameraName(const std::string& name);

  // Controller gains; 1.0, 0.0 and 0.0 at first. Stored with 4 significant digits.
  static void getCameraPanPid(double& kp, double& ki, double& kd);
  static void setCameraPanPid(double kp, double ki, double kd);
  static void getCameraTiltPid(double& kp, double& ki, double& kd);
  static void setCameraTiltPid(double kp, double ki, double kd);

  // Whether tracking is switched on; false at first.
  static bool getSentrelEnabled();
  static void setSentrelEnabled(bool enabled);

  // Whether and after how many seconds the tracker turns to another object; false and 5 at first.
  static bool getSwitchObject();
  static void setSwitchObject(bool enabled);
  static int getTimePerObject();
  static void setTimePerObject(int seconds);

  // Whether and after how many seconds the head goes home; false and 5 at first.
  static bool getReturnToHomeEnabled();
  static void setReturnToHomeEnabled(bool enabled);
  static int getReturnToHomeTimeout();
  static void setReturnToHomeTimeout(int seconds);

  // Factor on the zoom that the head reports; 1.0 at first.
  static double getZoomCorrection();
  static void setZoomCorrection(double correction);
};

#endif
