#ifndef PTZ_PID_H
#define PTZ_PID_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// One closed-loop controller: turns an error (degrees for pan and tilt, magnification for zoom)
// into a speed command (percent of full speed, -100 to 100).
//
// It can tune itself by relay feedback (K. J. Astrom, T. Hagglund, 1984): the controller is
// replaced by a two-level relay, and from the oscillation's amplitude and period come the ultimate
// gain and the ultimate period, from these the gains.
//
//   pid.autotuneStart(setpoint, amplitude);
//   while (!pid.autotuneRun(measured, speed)) { move(speed); ... }
//   if (pid.isAutotuned()) { pid.getAutotunePid(kp, ki, kd); pid.setPid(kp, ki, kd); }
//
// Time is the monotonic clock in microseconds. No lock: used by the tracker's thread alone.
class Pid {
 public:
  // Decides which of the tuned gains are not 0; a step always uses all three gains.
  enum class ControlType : std::int32_t { P = 0, PI = 1, PID = 2 };

  struct AutotuneSample {
    double value;
    std::int64_t time;
  };

  struct AutotunePeriod {
    double min;
    double max;
    double period;  // seconds
  };

  using AutotunePeriods = std::vector<std::unique_ptr<AutotunePeriod>>;

  Pid(ControlType type, double kp, double ki, double kd, double gainScale, double outputLow,
      double outputHigh, double errorDeadband, double outputDeadband);

  // Clears the error history and lets output() pass commands; nothing when active already.
  void activate();
  void inactivate();

  // Clears the error history.
  void reset();

  // One control step; error is set value minus measured value. Runs while inactive, too.
  void update(double error);

  // The command to send: 0 while inactive or not enabled, and while both the error and the command
  // are inside their dead bands.
  double output() const;

  void setPid(double newKp, double newKi, double newKd);

  // Only for tests.
  void getPid(double& outKp, double& outKi, double& outKd) const;

  void getAutotunePid(double& outKp, double& outKi, double& outKd) const;

  // Begins a relay run around a measured value.
  void autotuneStart(double setpoint, double amplitude);

  // One relay step. True when it has finished: succeeded, timed out after 25 s, or never started.
  // After a time-out relayOutput is left untouched.
  bool autotuneRun(double value, double& relayOutput);

  void autoTuneClear();
  AutotunePeriods getAutotunePeriods() const;

  // Means and population deviations of the last n periods' amplitude (peak to peak) and period.
  // False, with the outputs untouched, when there are fewer than n + 2 periods.
  static bool analyzeAutotunePeriods(AutotunePeriods periods, unsigned n, double& meanAmplitude,
                                     double& meanPeriod, double& sdAmplitude, double& sdPeriod);

  // Gains from the oscillation's peak-to-peak amplitude and its period in seconds.
  void setAutotuneValues(double amplitude, double period);

  // Logs the samples of a run that failed.
  void printAutotuneDebug(const std::string& name) const;

  bool isActive() const { return active; }
  bool isEnabled() const { return enabled; }

  // Whether the loop takes part in output and settling; true at first.
  void setEnabled(bool value) { enabled = value; }

  // The last error and the last command are inside their dead bands.
  bool isSettled() const;

  bool isAutotuned() const { return autotuned; }

  // Only for tests, all of them.
  double getLastError() const { return lastError; }
  double getOutputValue() const { return outputValue; }
  double getIntegral() const { return integral; }
  double getUltimateGain() const { return ultimateGain; }
  double getUltimatePeriod() const { return ultimatePeriod; }

 private:
  ControlType controlType;
  bool active = false;
  bool enabled = true;
  double kp;
  double ki;
  double kd;
  double ultimateGain = 0.0;
  double ultimatePeriod = 0.0;  // seconds
  double autotuneKp = 0.0;
  double autotuneKi = 0.0;
  double autotuneKd = 0.0;
  double gainScale;          // divisor of the ultimate gain
  double outputValue = 0.0;  // before the dead bands
  double outputLow;
  double outputHigh;
  double lastError = 0.0;
  double integral = 0.0;  // multiplied by ki already
  double errorDeadband;
  double outputDeadband;
  std::int64_t lastUpdateTime = 0;  // 0: none yet
  double relayAmplitude = 0.0;
  double relaySetpoint = 0.0;
  std::int64_t autotuneStartTime = 0;  // 0: never started
  bool autotuned = false;
  std::vector<AutotuneSample> samples;
};

#endif
