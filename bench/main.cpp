// Runs the cases under Google Benchmark, for their times and heap allocations:
//
//   sentrel_bench [--benchmark_filter=REGEX] [--benchmark_out=FILE] ...
//
// or each once under callgrind, which dumps the instructions of each case under the case's name:
//
//   valgrind --tool=callgrind --instr-atstart=no sentrel_bench --count=REGEX
//
// The numbers of operations that were counted go to standard output, a line "NUMBER NAME" for each.
//
//   sentrel_bench --film PEOPLE FRAMES FRAMES_PER_SECOND
//
// writes frames for the measurements of the running daemon.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <regex>
#include <string>
#include <string_view>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_START_INSTRUMENTATION
#define CALLGRIND_STOP_INSTRUMENTATION
#define CALLGRIND_DUMP_STATS_AT(name) static_cast<void>(name)
#endif

#include "bench/allocations.h"
#include "bench/case.h"
#include "bench/surroundings.h"

namespace {

bench::Cases allCases() {
  bench::Cases cases;
  bench::addVerdictCases(cases);
  bench::addFrameCases(cases);
  bench::addTrackerCases(cases);
  bench::addFollowingCases(cases);
  bench::addApiCases(cases);
  bench::addCalibrationCases(cases);
  bench::addMetricsCases(cases);
  return cases;
}

// Figures are for one operation; a batch holds several.
void measure(benchmark::State& state, const bench::Case& measured) {
  const bench::Batch batch = measured.prepare();
  batch();
  std::size_t operations = 0;
  std::size_t allocations = 0;
  for ([[maybe_unused]] const auto round : state) {
    const std::size_t before = bench::allocationCount();
    operations += batch();
    allocations += bench::allocationCount() - before;
  }
  const auto count = static_cast<double>(operations);
  using benchmark::Counter;
  state.counters["seconds"] = Counter(count, Counter::kIsRate | Counter::kInvert);
  state.counters["allocations"] = static_cast<double>(allocations) / count;
  if (measured.facts) {
    for (const auto& [name, value] : measured.facts()) {
      state.counters[name] = value;
    }
  }
  state.SetLabel(measured.operation);
}

void runBenchmarks(const bench::Cases& cases) {
  for (const bench::Case& each : cases) {
    benchmark::RegisterBenchmark(each.name.c_str(),
                                 [&each](benchmark::State& state) { measure(state, each); });
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}

void countInstructions(const bench::Cases& cases, const std::string& filter) {
  const std::regex wanted(filter);
  for (const bench::Case& each : cases) {
    if (!std::regex_search(each.name, wanted)) {
      continue;
    }
    const bench::Batch batch = each.prepare();
    batch();
    CALLGRIND_START_INSTRUMENTATION;
    batch();  // the first one under instrumentation translates
    CALLGRIND_DUMP_STATS_AT("");
    const std::size_t operations = batch();
    CALLGRIND_DUMP_STATS_AT(each.name.c_str());
    CALLGRIND_STOP_INSTRUMENTATION;
    std::printf("%zu %s\n", operations, each.name.c_str());
    std::fflush(stdout);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Cases cases = allCases();
  constexpr std::string_view COUNT = "--count=";
  if (argc == 2 && std::string_view(argv[1]).starts_with(COUNT)) {
    countInstructions(cases, argv[1] + COUNT.size());
    bench::removeSurroundings();
    return 0;
  }
  if (argc == 5 && std::string_view(argv[1]) == "--film") {
    bench::writeFilm(std::stoul(argv[2]), std::stoul(argv[3]), std::stoi(argv[4]));
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  runBenchmarks(cases);
  bench::removeSurroundings();
  return 0;
}
