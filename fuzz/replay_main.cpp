// A driver for fuzz targets that needs no fuzzing engine: runs every file of a folder, then a
// number of mutations of them that depend on nothing but their number.
//
//   replay_<name> CORPUS_FOLDER MUTATIONS LAST_INPUT_FILE
//
// Each input is written to LAST_INPUT_FILE before it is run, so that after a crash the file holds
// the input that caused it; the same program runs it again when the file lies alone in a folder.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr std::size_t kLongestInput = 1 << 16;  // bytes; longer ones are cut after mutation

/// The splitmix64 sequence: every draw is a fixed function of the seed on every machine.
class Random {
 public:
  explicit Random(std::uint64_t seed) : _state(seed) {}

  std::uint64_t Next() {
    std::uint64_t z = (_state += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
  /// Evenly in 0 to `count` - 1; 0 for a count of 0.
  std::size_t Below(std::size_t count) { return count == 0 ? 0 : Next() % count; }

 private:
  std::uint64_t _state;
};

/// Fragments that number and JSON readers are known to stumble on.
constexpr std::array<std::string_view, 16> kFragments = {
    "0",    "-1",  "1e308", "-1e-320", "1e999",   "2147483648", "\"7\"", "true",
    "null", "[[[", "]}",    "{}",      "\\u0000", "\xff\xfe",   "-0.0",  "99999999999999999999"};

void MutateOnce(std::string& input, const std::vector<std::string>& corpus, Random& random) {
  const std::size_t at = random.Below(input.size() + 1);
  const std::size_t length = std::min(input.size() - at, random.Below(16) + 1);
  switch (random.Below(7)) {
    case 0:  // flip a bit
      if (at < input.size()) input[at] = static_cast<char>(input[at] ^ (1 << random.Below(8)));
      break;
    case 1:  // any byte
      if (at < input.size()) input[at] = static_cast<char>(random.Below(256));
      break;
    case 2:
      input.erase(at, length);
      break;
    case 3:  // say it twice
      input.insert(at, input.substr(at, length));
      break;
    case 4:
      input.insert(at, kFragments[random.Below(kFragments.size())]);
      break;
    case 5:
      input.replace(at, length, kFragments[random.Below(kFragments.size())]);
      break;
    default: {  // go on with another seed's end
      const std::string& other = corpus[random.Below(corpus.size())];
      input.replace(at, std::string::npos, other.substr(random.Below(other.size() + 1)));
    }
  }
  if (input.size() > kLongestInput) input.resize(kLongestInput);
}

std::vector<std::string> ReadCorpus(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<std::string> corpus;
  for (const std::filesystem::path& file : files) {
    std::ifstream in(file, std::ios::binary);
    corpus.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return corpus;
}

void Run(const std::string& input, const char* last_file) {
  std::ofstream(last_file, std::ios::binary) << input;
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s CORPUS_FOLDER MUTATIONS LAST_INPUT_FILE\n", argv[0]);
    return 2;
  }
  const std::vector<std::string> corpus = ReadCorpus(argv[1]);
  if (corpus.empty()) {
    std::fprintf(stderr, "no seeds in %s\n", argv[1]);
    return 2;
  }
  const std::uint64_t mutations = std::strtoull(argv[2], nullptr, 10);
  for (const std::string& seed : corpus) Run(seed, argv[3]);
  for (std::uint64_t i = 0; i < mutations; ++i) {
    Random random(i);
    std::string input = corpus[random.Below(corpus.size())];
    for (std::size_t rounds = random.Below(4) + 1; rounds > 0; --rounds) {
      MutateOnce(input, corpus, random);
    }
    Run(input, argv[3]);
  }
  std::remove(argv[3]);
  std::printf("%zu seeds and %llu mutations ran\n", corpus.size(),
              static_cast<unsigned long long>(mutations));
  return 0;
}
