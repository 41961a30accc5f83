#ifndef BENCH_CASE_H
#define BENCH_CASE_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace bench {

// Does one batch of work and answers how many operations that was.
using Batch = std::function<std::size_t()>;

// A named line of the report.
struct Case {
  std::string name;       // parts separated by slashes, from the general to the particular
  std::string operation;  // what is counted: "frame", "pair", ...

  // Makes the batch, ready to run again and again. Not measured.
  std::function<Batch()> prepare;

  // Facts about the case that go into the report beside its figures.
  std::function<std::map<std::string, double>()> facts = nullptr;
};

using Cases = std::vector<Case>;

// In the order of the report.
void addVerdictCases(Cases& cases);
void addFrameCases(Cases& cases);
void addTrackerCases(Cases& cases);
void addFollowingCases(Cases& cases);
void addApiCases(Cases& cases);
void addCalibrationCases(Cases& cases);
void addMetricsCases(Cases& cases);

// Writes people's walk to standard output: for each frame its size (32 bits of this machine) and
// its bytes.
void writeFilm(std::size_t people, std::size_t frames, int perSecond);

}  // namespace bench

#endif
