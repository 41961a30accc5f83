#ifndef DEVICE_REPORT_REPORT_H
#define DEVICE_REPORT_REPORT_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "head/head.h"
#include "report/figures.h"
#include "report/session.h"
#include "world/world.h"

namespace device {

// What a run was, copied into the report.
struct RunInfo {
  std::string model;
  std::string tracks;  // file, or "generated"
  std::string transport;
  std::uint64_t seed = 0;
};

// Collects what happens in a run and writes it down. Times are seconds since the device's start and
// never decrease. Not thread-safe: its owner serialises the calls.
class Report {
 public:
  explicit Report(RunInfo info);

  // One scene frame was handed out, of any channel.
  void frameSent() { ++frames; }

  // Several alarms may be on at once; an end belongs to the oldest that is still on, and is ignored
  // when none is.
  void alarmStarted(double time);
  void alarmEnded(double time);

  // A tracker state: "stopped", "connecting", "autotuning" or "running". Repetitions are ignored.
  void trackerState(double time, std::string_view state);

  // The tracker's word on whether it steers the head. Repetitions are ignored.
  void sentreling(double time, bool active);

  // The truth at a moment. Call it at each step of the head; a sample that comes less than 0.05 s
  // after the one kept last is passed over.
  void sample(double time, std::span<const PersonView> people, const HeadStatus& head);

  Figures figures() const { return figuresOf(session); }
  const Session& getSession() const { return session; }

  // report.json: the figures (those without a value are null) and what the run was.
  std::string toJson() const;

  // Writes report.json, then plot.svg and plot.png by gnuplot, into a folder that is made when it
  // is missing. Throws std::runtime_error when report.json cannot be written. Plots that cannot be
  // made give a message for the user; empty when all went well.
  std::string write(const std::filesystem::path& folder) const;

 private:
  bool noteInside(double time, std::span<const PersonView> people);
  bool isRunning() const;

  RunInfo info;
  std::int64_t frames = 0;
  Session session;
  std::map<int, double> insideSince;  // person to time
};

// True when the direction lies within the head's picture.
bool isInPicture(const HeadStatus& head, const Direction& direction);

}  // namespace device

#endif
