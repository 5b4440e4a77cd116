// Feeds every file of the given folders to a fuzzer's entry point, so that the
// seeds run as an ordinary test with any compiler. Says how many it fed; an
// empty folder is a failure, since such a run would prove nothing.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size);

namespace {

namespace fs = std::filesystem;

bool feed(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  if (!file) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  // A block of exactly the input's size lets a checker see one byte too many.
  const std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), block.get());
  std::printf("%s: %zu bytes\n", path.filename().c_str(), bytes.size());
  std::fflush(stdout);  // Names the culprit if the next line never comes.
  LLVMFuzzerTestOneInput(block.get(), bytes.size());
  return true;
}

std::vector<fs::path> filesIn(const char* folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  bool good = argc > 1;
  for (int i = 1; i < argc; ++i) {
    const std::vector<fs::path> files = filesIn(argv[i]);
    if (files.empty()) {
      std::fprintf(stderr, "no seed in %s\n", argv[i]);
      good = false;
    }
    for (const fs::path& file : files) good = feed(file) && good;
  }
  return good ? 0 : 1;
}
