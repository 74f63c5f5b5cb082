// SPDX-License-Identifier: MIT
//
// Runs a fuzz target once on every file of the folders given, for compilers that cannot fuzz. A fault ends the program
// by a signal or a sanitizer; an empty folder is a fault as well.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::size_t inputs = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<char> content(std::istreambuf_iterator<char>(file), {});
      const std::vector<std::uint8_t> bytes(content.begin(), content.end());
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
      ++inputs;
    }
  }
  std::cout << inputs << " inputs\n";
  return inputs == 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
