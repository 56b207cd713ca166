// Runs a fuzz target without a fuzzer: each of its seeds whole, cut short, disturbed and spliced with the one before.
// So every build has the targets' invariants among its tests, also with g++ and under each sanitizer.
#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

#include "fuzz.h"

/// About so many bytes are run for each kind of change of a seed.
static constexpr size_t MostBytes = 256 * 1024;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static std::clock_t slowest;  // processor time
static std::string slowestSeed;

static void run(const std::string& input, const std::string& seedName) {
  const std::vector<uint8_t> bytes(input.begin(), input.end());  // exactly as large, for a sanitizer to see its end
  const std::clock_t begin = std::clock();
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  const std::clock_t took = std::clock() - begin;
  if (took > slowest) {
    slowest = took;
    slowestSeed = seedName;
  }
}

static std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Every place of a seed is changed, of a large one only some, evenly spread.
static void runVariants(const std::string& name, const std::string& seed, const std::string& other) {
  const size_t places = std::max(MostBytes / (seed.size() + 1), size_t{4});
  const size_t step = seed.size() / places + 1;
  run(seed, name);
  for (size_t at = 0; at < seed.size(); at += step) {
    const std::string head = seed.substr(0, at);
    run(head, name);
    run(head + other.substr(std::min(at, other.size())), name);
    for (const int mask : {0x01, 0x80, 0xff}) {
      std::string disturbed = seed;
      disturbed[at] = static_cast<char>(disturbed[at] ^ mask);
      run(disturbed, name);
    }
  }
}

int main(int argc, char** argv) {
  fuzz::require(argc == 2, "one argument, a folder of seeds");
  std::map<std::string, std::string> seeds;  // in order, so that each run is the same
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) seeds[entry.path()] = contentOf(entry.path());
  fuzz::require(!seeds.empty(), "there are seeds");
  std::string before;
  for (const auto& [name, seed] : seeds) {
    runVariants(name, seed, before);
    before = seed;
  }
  const double milliseconds = 1000.0 * static_cast<double>(slowest) / CLOCKS_PER_SEC;
  std::printf("%zu seeds; the slowest input took %.2f ms, of %s\n", seeds.size(), milliseconds, slowestSeed.c_str());
}
