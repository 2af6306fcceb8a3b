// Replays a fuzz target's corpus as an ordinary test: every file named on
// the command line (or found in a directory named there) is fed once to
// LLVMFuzzerTestOneInput. Built with the normal compiler, no libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

int RunFile(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", p.c_str());
    return 1;
  }
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  int failures = 0, files = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto& e : std::filesystem::directory_iterator(p)) {
        if (e.is_regular_file()) {
          failures += RunFile(e.path());
          ++files;
        }
      }
    } else {
      failures += RunFile(p);
      ++files;
    }
  }
  std::printf("replayed %d inputs\n", files);
  return failures == 0 && files > 0 ? 0 : 1;
}
