// Every fuzz target's entry run over saved inputs, outside libFuzzer: the tests
// replay every seed of a target's corpus, so a finding once fixed stays fixed.
// One program holds all targets (each entry renamed at compile time to
// <target>_TestOneInput, listed in the generated replay_targets.inc), so the
// library is linked once rather than once a target.
//
// usage: fuzz_replay TARGET FILE-OR-FOLDER...
// Folders give every regular file in them, in name order. A run that finds no
// input fails, so a moved corpus cannot pass unseen.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#define CUADRANTE_FUZZ_TARGET(name) extern "C" int name##_TestOneInput(const uint8_t*, size_t);
#include "replay_targets.inc"
#undef CUADRANTE_FUZZ_TARGET

namespace {

using TEntry = int (*)(const uint8_t*, size_t);

struct TTarget {
  std::string_view name;
  TEntry entry;
};

#define CUADRANTE_FUZZ_TARGET(name) TTarget{#name, &name##_TestOneInput},
constexpr TTarget kTargets[] = {
#include "replay_targets.inc"
};
#undef CUADRANTE_FUZZ_TARGET

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
  const TTarget* target = nullptr;
  for (const TTarget& candidate : kTargets)
    if (argc > 1 && candidate.name == argv[1]) target = &candidate;
  if (target == nullptr) {
    std::fprintf(stderr, "usage: fuzz_replay TARGET FILE-OR-FOLDER...; TARGET is one of:");
    for (const TTarget& candidate : kTargets) std::fprintf(stderr, " %s", candidate.name.data());
    std::fprintf(stderr, "\n");
    return 2;
  }
  size_t replayed = 0;
  for (int i = 2; i < argc; ++i) {
    for (const std::filesystem::path& input : InputsOf(argv[i])) {
      std::ifstream file(input, std::ios::binary);
      if (!file) {
        std::fprintf(stderr, "cannot read %s\n", input.c_str());
        return 1;
      }
      const std::string bytes((std::istreambuf_iterator<char>(file)), {});
      std::fprintf(stderr, "%s\n", input.c_str());  // names the input a crash comes from
      target->entry(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
      ++replayed;
    }
  }
  std::printf("replayed %zu inputs\n", replayed);
  return replayed == 0 ? 1 : 0;
}
