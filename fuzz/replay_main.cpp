// replay_main.cpp - runs a fuzz target over every file of the given corpus
// folders (or files), without libFuzzer, so ordinary builds replay the saved
// corpus under the sanitizers.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static void run_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                          std::istreambuf_iterator<char>());
  // Copy into an exact-size block so that a read past the end is caught.
  std::vector<uint8_t> exact(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

int main(int argc, char** argv) {
  size_t count = 0;
  for (int i = 1; i < argc; i++) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(p))
        if (entry.is_regular_file()) {
          run_file(entry.path());
          count++;
        }
    } else if (std::filesystem::exists(p)) {
      run_file(p);
      count++;
    }
  }
  std::printf("replayed %zu inputs\n", count);
  return 0;
}
