// Scores one head with one seed and prints what it earned.
#include <cstdlib>
#include <exception>
#include <iostream>

#include "score/job.h"
#include "score/job_json.h"
#include "score/options.h"

namespace {

constexpr int USAGE = 2;

}  // namespace

int main(int argc, char** argv) {
  try {
    std::cout << score::toJson(score::runJob(score::parseOptions({argv, argv + argc}))) << '\n';
    return EXIT_SUCCESS;
  } catch (const score::OptionError& error) {
    std::cerr << error.what() << '\n';
    return USAGE;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
