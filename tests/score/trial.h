#ifndef TESTS_SCORE_TRIAL_H
#define TESTS_SCORE_TRIAL_H

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "score/job.h"
#include "support/temporary_folder.h"

namespace score {

// A folder of models in which one differs from a shipped one, and a recording of three people who
// pass the mast one after another at 4 to 8 m with 1.2 m/s, bending their way, as in front of a
// shop. As short as can be, as every test of a flaw runs it twice.
class Trial {
 public:
  static constexpr int PEOPLE = 3;
  static constexpr double WALK = 12;  // seconds of each, of which the first two do not count

  // Whether each walks alone, or somebody else is 0.8 m nearer to the mast, or comes the other way.
  enum class Company { none, inFront, crossing };

  explicit Trial(Company company = Company::none) {
    namespace fs = std::filesystem;
    fs::copy(fs::path(SOURCE_FOLDER) / "device" / "models", folder.path("models"),
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    std::ofstream tracks(folder.path("tracks.csv"));
    tracks << "time_s,id,x_m,y_m\n";
    for (int person = 0; person < PEOPLE; ++person) {
      writeWay(tracks, person, person + 1, 4.0 + 2.0 * person, person % 2 == 0 ? 1 : -1);
      if (company == Company::inFront) {
        writeWay(tracks, person, 100 + person, 3.2 + 2.0 * person, person % 2 == 0 ? 1 : -1);
      } else if (company == Company::crossing) {
        writeWay(tracks, person, 100 + person, 4.5 + 2.0 * person, person % 2 == 0 ? -1 : 1);
      }
    }
  }

  // Makes a model "changed" of what a file with a base may hold, with the configuration of another
  // one: compass has the filter for swaying objects on, ideal has it off.
  void change(const std::string& base, const std::string& keys,
              const std::string& configuration = "compass") const {
    const std::filesystem::path models = folder.path("models");
    std::ofstream(models / "changed.json")
        << R"({"base": ")" << base << R"(", "about": "A trial." )" << (keys.empty() ? "" : ", ")
        << keys << "}";
    std::filesystem::copy_file(models / "configurations" / (configuration + ".json"),
                               models / "configurations" / "changed.json",
                               std::filesystem::copy_options::overwrite_existing);
  }

  // A recording of two who pass at the same time, to the left and to the right of the mast.
  std::filesystem::path crossingPair() const {
    std::ofstream tracks(folder.path("pair.csv"));
    tracks << "time_s,id,x_m,y_m\n";
    for (int i = 0; i <= 50; ++i) {
      const double time = 0.4 * i;
      tracks << time << ",1,5," << 0.5 * time - 3 << '\n';
      tracks << time << ",2,-5," << 7 - 0.5 * time << '\n';
    }
    return folder.path("pair.csv");
  }

  // A recording of two who walk along behind each other, as seen from the mast.
  std::filesystem::path pairInLine() const {
    std::ofstream tracks(folder.path("line.csv"));
    tracks << "time_s,id,x_m,y_m\n";
    for (int i = 0; i <= 30; ++i) {
      const double time = 0.4 * i;
      tracks << time << ",1," << 0.8 * time - 5 << ",6\n";
      tracks << time << ",2," << 0.96 * time - 6 << ",7.2\n";
    }
    return folder.path("line.csv");
  }

  JobOptions options(const std::string& model = "changed") const {
    JobOptions options;
    options.models = folder.path("models");
    options.model = model;
    options.tracks = folder.path("tracks.csv");
    options.place = {.mast = {0, 0}, .home = {0, 7}};
    return options;
  }

  // Of the people's errors to the one that they were given an area for, degrees.
  static double medianError(const JobResult& result) {
    std::vector<double> errors;
    for (const Scored& run : result.runs) {
      if (run.person < 100) {  // nobody's company
        errors.push_back(run.followed.people.at(0).lateError.value().rms);
      }
    }
    return device::quantileOf(errors, 0.5);
  }

 private:
  // The place in the recording, the id, metres in front of the mast, and to which side (1, -1).
  static void writeWay(std::ofstream& tracks, int place, int id, double distance, double side) {
    constexpr double STEP = 0.4;       // seconds
    constexpr double PAUSE = 8;        // seconds between them
    constexpr double SPEED = 1.2;      // metres per second
    constexpr double BEND = 0.8;       // metres
    constexpr double BEND_TIME = 6.4;  // seconds
    for (int i = 0; i * STEP <= WALK; ++i) {
      const double time = i * STEP;
      tracks << place * (WALK + PAUSE) + time << ',' << id << ','
             << side * SPEED * (time - WALK / 2) << ','
             << distance + BEND * std::sin(2 * M_PI * time / BEND_TIME) << '\n';
    }
  }

  TemporaryFolder folder;
};

}  // namespace score

#endif
