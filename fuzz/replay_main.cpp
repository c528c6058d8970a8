// A fuzz target's entry run over saved inputs, outside libFuzzer: the tests
// replay every seed of a target's corpus, so a finding once fixed stays fixed.
// Arguments are files or folders (every regular file in them, in name order).
// A run that finds no input fails, so a moved corpus cannot pass unseen.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::filesystem::path> InputsOf(const char* argument) {
  std::vector<std::filesystem::path> inputs;
  const std::filesystem::path path(argument);
  if (!std::filesystem::is_directory(path)) return {path};
  for (const auto& entry : std::filesystem::directory_iterator(path))
    if (entry.is_regular_file()) inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

}  // namespace

int main(int argc, char** argv) {
  size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    for (const std::filesystem::path& input : InputsOf(argv[i])) {
      std::ifstream file(input, std::ios::binary);
      if (!file) {
        std::fprintf(stderr, "cannot read %s\n", input.c_str());
        return 1;
      }
      const std::string bytes((std::istreambuf_iterator<char>(file)), {});
      std::fprintf(stderr, "%s\n", input.c_str());  // names the input a crash comes from
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
      ++replayed;
    }
  }
  std::printf("replayed %zu inputs\n", replayed);
  return replayed == 0 ? 1 : 0;
}
