// Runs a target over kept inputs, without libFuzzer: fuzz_NAME_replay PATH..., each a file or a
// folder that must hold at least one file. An input that fails ends the program as by a crash; its
// name is the last that was printed.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

// In an order that does not depend on the file system. Empty when there is none.
std::vector<fs::path> filesAt(const fs::path& path) {
  std::vector<fs::path> files;
  if (fs::is_regular_file(path)) {
    files.push_back(path);
  }
  if (fs::is_directory(path)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
      if (entry.is_regular_file()) {
        files.push_back(entry.path());
      }
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

void run(const fs::path& path) {
  std::printf("%s\n", path.c_str());
  std::fflush(stdout);
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  // A copy of its own, exactly as long, so that reading beyond its end is noticed.
  const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) {
    std::fprintf(stderr, "Usage: %s PATH...\n", arguments[0]);
    return 2;
  }
  std::size_t runs = 0;
  for (int i = 1; i < count; ++i) {
    const std::vector<fs::path> files = filesAt(arguments[i]);
    if (files.empty()) {
      std::fprintf(stderr, "no inputs: %s\n", arguments[i]);
      return 1;
    }
    for (const fs::path& file : files) {
      run(file);
    }
    runs += files.size();
  }
  std::printf("%zu inputs, all as they should be\n", runs);
  return 0;
}
