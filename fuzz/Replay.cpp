// Runs a fuzzer over kept inputs alone, files or folders of them, where the compiler has no libFuzzer.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) __attribute__((weak));
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

void run(const fs::path& file) {
  std::fprintf(stderr, "%s\n", file.c_str());  // the last one that is named is the one that broke it
  std::ifstream stream(file, std::ios::binary);
  const std::string input{std::istreambuf_iterator<char>(stream), {}};
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
  int runs = 0;
  for (int at = 1; at < argc; ++at) {
    const fs::path given = argv[at];
    if (fs::is_regular_file(given)) {
      run(given);
      ++runs;
    } else if (fs::is_directory(given)) {
      for (const fs::directory_entry& entry : fs::directory_iterator(given)) {
        run(entry.path());
        ++runs;
      }
    }
  }
  return runs > 0 ? 0 : 1;
}
