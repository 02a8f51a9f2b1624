// Stands in for libFuzzer: runs each file of the given folders once.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <vector>

#include "fuzz/machine.h"

int main(int argc, char** argv) {
  LLVMFuzzerInitialize(&argc, &argv);
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::directory_iterator folder(argv[i]);
    inputs.insert(inputs.end(), begin(folder), end(folder));
  }
  std::sort(inputs.begin(), inputs.end());
  for (const std::filesystem::path& input : inputs) {
    std::cout << input.filename().native() << std::endl;  // the last one is the one that failed
    const std::string bytes = fuzz::Contents(input);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  return inputs.empty() ? EXIT_FAILURE : EXIT_SUCCESS;
}
