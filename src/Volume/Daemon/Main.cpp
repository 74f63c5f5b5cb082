// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include "Volume/Daemon/VolumeProgram.h"

int main(int count, char** words) {
  return quillbrook::VolumeProgram::run(std::vector<std::string>(words + 1, words + count));
}
