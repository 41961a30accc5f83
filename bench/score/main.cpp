// Scores one head with one seed and prints what it earned.
#include <cstdlib>
#include <iostream>

#include "base/command_line.h"
#include "score/job.h"
#include "score/job_json.h"
#include "score/options.h"

int main(int argc, char** argv) {
  return runProgram([&] {
    std::cout << score::toJson(score::runJob(score::parseOptions({argv, argv + argc}))) << '\n';
    return EXIT_SUCCESS;
  });
}
